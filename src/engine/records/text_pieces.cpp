#include "engine/records/text_pieces.h"
#include "services/byte_queue.h"

namespace quarnex {
namespace {

constexpr int kDigitsMax = 20;  // of 64 bits
}  // namespace

void append(std::string& text, ZeroPadded number) {
  char digits[kDigitsMax];
  char* const end = digits + kDigitsMax;
  char* begin = end;
  auto rest = number.number < 0 ? 0 - static_cast<std::uint64_t>(number.number)
                                : static_cast<std::uint64_t>(number.number);
  for (; rest > 0 || end - begin < number.digits; rest /= 10) *--begin = static_cast<char>('0' + rest % 10);
  if (number.number < 0) text += '-';
  text.append(begin, end);
}

void clearText(std::string& text) {
  if (text.capacity() > kKeptCapacityMax) {
    std::string().swap(text);
  } else {
    text.clear();
  }
}

}  // namespace quarnex
