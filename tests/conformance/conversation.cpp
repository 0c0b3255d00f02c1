#include "conformance/conversation.h"

#include <algorithm>
#include <chrono>
#include <fstream>

#include "quarnex/failure.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::test {
namespace {

using nlohmann::json;

constexpr int kTurnsPerSecond = 1000 / kTickMilliseconds;

std::string charactersOf(int from, int to) {
  std::string utf8;
  for (int code = from; code <= to; ++code) appendUtf8(utf8, code);
  return utf8;
}

// Replaces the values that stand for something else: a range of characters, a folder, an identifier.
json plain(const json& value, const Surroundings& surroundings) {
  if (!value.is_object() || value.size() != 1) return value;
  if (value.contains("codes")) return charactersOf(value["codes"][0], value["codes"][1]);
  if (value.contains("folder")) return surroundings.folder + value["folder"].get<std::string>();
  if (value.contains("free")) return surroundings.freeIdentifier + value["free"].get<int>();
  return value;
}

// Of an object only the members that are expected count.
bool matches(const json& actual, const json& expected) {
  if (expected.is_object() && expected.contains("begins"))
    return actual.is_string() && actual.get<std::string>().starts_with(expected["begins"].get<std::string>());
  if (expected.is_array()) {
    return actual.is_array() && std::ranges::equal(actual, expected, matches);
  }
  if (!expected.is_object()) return actual == expected;
  return actual.is_object() && std::ranges::all_of(expected.items(), [&](const auto& member) {
           return actual.contains(member.key()) && matches(actual[member.key()], member.value());
         });
}

struct Step {
  int seconds = 0;  // to wait for the result
  std::string method;
  json parameters, expected;
};

Step stepOf(const json& row, const Surroundings& surroundings) {
  const bool waits = row[0] == "until";
  const std::size_t first = waits ? 2 : 0;
  Step step{waits ? row[1].get<int>() : 0, row[first], row[first + 1], nullptr};
  for (json& parameter : step.parameters) parameter = plain(parameter, surroundings);
  if (row.size() > first + 2) step.expected = plain(row[first + 2], surroundings);
  return step;
}

// The result, or the number of the failure in the form that a row expects.
json resultOf(Binding& binding, const Step& step) {
  try {
    return binding.call(step.method, step.parameters);
  } catch (const Failure& failure) {
    return {{"fails", failure.number()}};
  }
}

// A binding whose failures have numbers of their own, or that cannot make the call, has a column in the row.
json expectedOf(const Binding& binding, const Step& step) {
  const std::string column(binding.name());
  if (!step.expected.is_object() || !step.expected.contains("fails")) return step.expected;
  if (step.expected.contains(column) && step.expected[column] == "skip") return "skip";
  return {{"fails", step.expected.value(column, step.expected["fails"].get<int>())}};
}

// "" if the step went right.
std::string take(Binding& binding, const Step& step) {
  const json expected = expectedOf(binding, step);
  if (expected == "skip") return {};
  json actual = resultOf(binding, step);
  for (int turns = step.seconds * kTurnsPerSecond; turns > 0 && !matches(actual, expected); --turns) {
    binding.turn();
    actual = resultOf(binding, step);
  }
  if (matches(actual, expected)) return {};
  return step.method + step.parameters.dump() + ": " + actual.dump() + " instead of " + expected.dump();
}

}  // namespace

void appendUtf8(std::string& utf8, int code) {
  if (code >= 0x80) utf8 += static_cast<char>(0xC0 | code >> 6);
  utf8 += static_cast<char>(code >= 0x80 ? 0x80 | (code & 0x3F) : code);
}

std::string bytesOf(const std::string& utf8) {
  std::string bytes;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto lead = static_cast<unsigned char>(utf8[i]);
    if (lead >= 0xC4) throw Failure(5, "a character above 255");
    bytes += lead < 0x80 ? utf8[i] : static_cast<char>((lead & 3) << 6 | (utf8[++i] & 0x3F));
  }
  return bytes;
}

const std::vector<json>& conversations() {
  static const auto all = json::parse(std::ifstream(QUARNEX_CONVERSATIONS)).get<std::vector<json>>();
  return all;
}

std::string hold(Binding& binding, const json& conversation, const Surroundings& surroundings) {
  for (const json& row : conversation["steps"]) {
    if (std::string wrong = take(binding, stepOf(row, surroundings)); !wrong.empty()) return wrong;
  }
  return {};
}

}  // namespace quarnex::test
