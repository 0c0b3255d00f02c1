#include "services/caller_filter.h"

#include <charconv>

namespace quarnex {

bool isDottedAddress(std::string_view text) {
  const char* next = text.data();
  const char* const end = next + text.size();
  for (int position = 0; position < 4; ++position) {
    if (position > 0 && (next == end || *next++ != '.')) return false;
    unsigned number = 256;
    const char* const begin = next;
    next = std::from_chars(begin, end, number).ptr;
    if (number > 255 || (*begin == '0' && next - begin > 1)) return false;
  }
  return next == end;
}

}  // namespace quarnex
