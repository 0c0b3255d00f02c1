// Writes the log to a text file in the background, and begins the next file when one is full.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "services/background_writer.h"
#include "services/text_file.h"

namespace quarnex {

class LogTextFile final : public TextFile {
 public:
  LogTextFile() = default;
  ~LogTextFile() override { close(); }
  LogTextFile(const LogTextFile&) = delete;
  LogTextFile& operator=(const LogTextFile&) = delete;

  void create(const std::string& name) override;
  void write(std::string_view line) override {
    if (writer_) writer_->write(line);
  }
  void close() override;
  void configure(const TextFileSettings& settings) override { settings_ = settings; }
  bool flush(std::chrono::milliseconds maxWait) override { return !writer_ || writer_->flush(maxWait); }
  WriteLosses losses() const override;

 private:
  TextFileSettings settings_;
  std::unique_ptr<BackgroundWriter> writer_;
  WriteLosses earlier_;  // of the files that are closed
};

}  // namespace quarnex
