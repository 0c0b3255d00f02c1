// Defines the failure that host methods and service operations throw.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "quarnex/export.h"

namespace quarnex {

/// A run-time failure: a number and a description.
///
/// Failures of the library itself carry the classic numbers: 5 invalid procedure call, 6 overflow, 7 out of
/// memory, 9 subscript out of range, 13 type mismatch, 14 out of string space, 52 bad file name, 53 file
/// not found (zlib, for compressed recordings), 58 file already exists, 61 disk full, 70 permission denied,
/// 75 path/file access error, 76 path not found, 340 control array element does not exist. Socket failures
/// carry the Windows Sockets error number (10000 and up). docs/reports.md lists all of them. The description
/// is one line of text, bytes of any code.
///
/// Example:
///
///     try {
///       quarn.AttivaLog();
///     } catch (const quarnex::Failure& failure) {
///       std::cerr << "no log: " << failure.number() << ' ' << failure.what() << '\n';
///     }
class QUARNEX_API Failure : public std::runtime_error {
 public:
  Failure(std::int32_t number, const std::string& description)
      : std::runtime_error(description), number_(number) {}

  std::int32_t number() const noexcept { return number_; }
  std::string description() const { return what(); }

 private:
  std::int32_t number_;
};

}  // namespace quarnex
