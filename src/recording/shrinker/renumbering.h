// Renumbers the chosen links 1 to n, as if no other had been added.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/records/library.h"
#include "recording/format/recording_reader.h"

namespace quarnex::recording {

class Renumbering {
 public:
  /// Renumbers the sockets of `links` in the same way.
  Renumbering(Library& library, std::span<const std::int16_t> links);

  /// The new numbers.
  const std::vector<std::int16_t>& links() const { return newLinks_; }
  /// Copies the step without the lines of other links.
  RecordedStep renumbered(const RecordedStep& step) const;
  /// Renumbers the text of one line; returns any other text unchanged.
  std::string renumbered(const std::string& text) const;

 private:
  using SocketKey = std::pair<SocketArray, std::int16_t>;

  void addSocket(SocketArray array, std::int16_t index, std::int16_t newIndex);
  bool removes(const Line& line) const;
  void addRenumbered(StoredLines& lines, Line line) const;

  std::vector<std::int16_t> newLinks_;
  std::map<std::int16_t, std::int16_t> numbers_;
  std::map<SocketKey, std::int16_t> indexes_;
};

}  // namespace quarnex::recording
