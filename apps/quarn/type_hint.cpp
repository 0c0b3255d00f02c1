#include "quarn/type_hint.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>
#include <vector>

#include "quarnex/ports.h"

namespace quarnex::tool {
namespace {

char inCapitals(char c) {
  return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

// Number of characters to insert, remove or replace in `one` to get `other`, without regard to case.
std::size_t differences(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < other.size(); ++j) {
      const bool same = inCapitals(one[i]) == inCapitals(other[j]);
      const std::size_t replaced = diagonal + (same ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

// One difference in a short name, two in a long one.
std::size_t tolerated(std::string_view name) {
  constexpr std::size_t kLongName = 6;
  return name.size() < kLongName ? 1 : 2;
}

}  // namespace

std::string typeHint(std::string_view type) {
  constexpr std::size_t kTypeLengthMax = 100;
  const PortOfType* nearest = nullptr;
  std::size_t least = kTypeLengthMax;
  for (const PortOfType& named : kNamedPorts) {
    if (named.type == type) return "";
    const std::size_t found = type.size() < kTypeLengthMax ? differences(type, named.type) : kTypeLengthMax;
    if (found > tolerated(named.type) || found >= least) continue;
    nearest = &named;
    least = found;
  }
  if (nearest == nullptr) return "";
  return "did you mean " + std::string(nearest->type) + " (" + std::to_string(nearest->port) + ")?";
}

}  // namespace quarnex::tool
