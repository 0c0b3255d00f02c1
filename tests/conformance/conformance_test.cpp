// Holds the conversations with the bindings of this process, in virtual time.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>

#include "answers/answers.h"
#include "conformance/c_binding.h"
#include "conformance/conversation.h"
#include "quarnex/component.h"
#include "quarnex/host_loop.h"
#include "quarnex/testing.h"

namespace quarnex::test {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;

Value valueOf(const json& parameter) {
  if (parameter.is_boolean()) return parameter.get<bool>();
  if (parameter.is_string()) return bytesOf(parameter);
  return static_cast<std::int16_t>(Int16(parameter.get<std::int64_t>()));
}

json jsonOf(std::monostate) {
  return nullptr;
}
json jsonOf(const std::string& text) {
  std::string utf8;
  for (const char c : text) appendUtf8(utf8, static_cast<unsigned char>(c));
  return utf8;
}
json jsonOf(auto number) {
  return number;
}

json resultOf(const auto& value) {
  return std::visit([](const auto& held) { return jsonOf(held); }, value);
}

class CppBinding final : public Binding {
 public:
  std::string_view name() const override { return "c++"; }
  json call(const std::string& method, const json& parameters) override {
    std::vector<Value> values;
    for (const json& parameter : parameters) values.push_back(valueOf(parameter));
    if (const Method* found = findMethod(method)) return resultOf(invoke(quarn_, *found, values));
    const auto answer = std::ranges::find(answers(), method, &Answer::name);
    return json::parse(answer->call({quarn_, values}));
  }
  void turn() override { HostLoop().turn(200ms); }

 private:
  QuarnSocket quarn_;
};

class ComponentBinding final : public Binding {
 public:
  std::string_view name() const override { return "component"; }
  json call(const std::string& method, const json& parameters) override {
    std::vector<ComponentValue> values;
    for (const json& parameter : parameters) values.push_back(componentValueOf(parameter));
    if (findMethod(method) == nullptr)
      return json::parse(std::get<std::string>(answers_.invoke(method, values)));
    return resultOf(quarn_.invoke(method, values));
  }
  void turn() override { answers_.invoke("turn", {std::int16_t{200}}); }

 private:
  static ComponentValue componentValueOf(const json& parameter) {
    if (parameter.is_boolean()) return parameter.get<bool>();
    if (parameter.is_string()) return bytesOf(parameter);
    return parameter.get<std::int32_t>();
  }

  DispatchObject quarn_{quarnSocketClass(), processOwner()};
  DispatchObject answers_{quarnAnswersClass(), processOwner()};
};

struct Column {
  const char* name;
  std::function<std::unique_ptr<Binding>()> make;
};
const Column kColumns[] = {
    {"Cpp", [] { return std::make_unique<CppBinding>(); }},
    {"C", makeCBinding},
    {"Component", [] { return std::make_unique<ComponentBinding>(); }},
};

class Conformance : public testing::TestWithParam<std::tuple<Column, json>> {};

TEST_P(Conformance, HoldsTheConversation) {
  const auto& [column, conversation] = GetParam();
  std::string wrong = "it did not end";
  testkit::simulate([&, make = column.make, steps = conversation](testkit::TestSite& site) {
    const testkit::TestProgram& host = site.addProgram("host", [&] {
      wrong = hold(*make(), steps, {});
      return 0;
    });
    site.runUntil([&] { return !host.running(); }, 5min);
  });
  EXPECT_EQ(wrong, "") << conversation["name"];
}

INSTANTIATE_TEST_SUITE_P(Bindings, Conformance,
                         testing::Combine(testing::ValuesIn(kColumns), testing::ValuesIn(conversations())),
                         [](const auto& row) {
                           return std::string(std::get<0>(row.param).name) + std::to_string(row.index);
                         });

}  // namespace
}  // namespace quarnex::test
