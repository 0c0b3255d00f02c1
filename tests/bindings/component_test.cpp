#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "component/component_classes.h"
#include "component/component_values.h"
#include "quarnex/component.h"
#include "support/failure_of.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

class StubOwner final : public LibraryOwner {
 public:
  Library& library() override {
    if (!host) host = std::make_unique<StubHost>();
    return host->library;
  }
  void end() override { host.reset(); }
  bool inUse() const override {
    return host && host->library.instances.use_count() > 2;
  }  // the host's own one

  std::unique_ptr<StubHost> host;
};

struct Component : testing::Test {
  std::unique_ptr<DispatchObject> make(const char* name = "Quarnex.QuarnSocket") {
    return server.classObject(registry, name)->createInstance();
  }

  ClassRegistry registry;
  StubOwner owner;
  ComponentServer server{owner};
};

TEST_F(Component, IsFoundOnlyWhileItIsRegistered) {
  const std::string identifier(quarnSocketClass().identifier);
  for (int i = 0; i < 2; ++i) ComponentServer::registerServer(registry, "quarnex.dll");
  const struct {
    const char *key, *name, *text;
  } rows[] = {
      {"Quarnex.QuarnSocket\\CLSID", "", identifier.c_str()},
      {"CLSID\\{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E405}\\InprocServer32", "ThreadingModel", "Apartment"},
      {"Interface\\{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E402}", "", "_QuarnSocket"},
      {"TypeLib\\{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E403}\\1.0", "", "Quarnex"}};
  for (const auto& row : rows) {
    ASSERT_NE(registry.find(row.key, row.name), nullptr) << row.key;
    EXPECT_EQ(*registry.find(row.key, row.name), row.text);
  }
  for (const char* name : {"Quarnex.QuarnSocket", "Quarnex.QuarnAnswers", identifier.c_str()})
    EXPECT_EQ(failureOf([&] { server.classObject(registry, name); }), 0) << name;
  EXPECT_EQ(failureOf([&] { server.classObject(registry, "Quarnex.Other"); }), 429);
  for (int i = 0; i < 2; ++i) ComponentServer::unregisterServer(registry, "quarnex.dll");
  EXPECT_EQ(registry.find(rows[0].key), nullptr);
  EXPECT_EQ(failureOf([&] { make(); }), 429);
}

TEST_F(Component, StaysLoadedWhileAnythingIsInUseAndThenLeavesNothing) {
  ComponentServer::registerServer(registry, "quarnex.dll");
  const ComponentServer second(owner);
  EXPECT_TRUE(server.canUnload());
  auto factory = server.classObject(registry, "Quarnex.QuarnSocket");
  EXPECT_FALSE(second.canUnload());
  auto one = factory->createInstance();
  auto other = make("Quarnex.QuarnAnswers");
  factory.reset();
  one->invoke("Add", {std::string("ABC"), std::int16_t{1}, true, true});
  one->invoke("Apri", {std::int16_t{1}});
  EXPECT_NE(owner.library().services.timer.period(), 0);
  one.reset();
  EXPECT_FALSE(second.canUnload());
  EXPECT_EQ(std::get<std::string>(other->invoke("eventsWaiting", {})), "0");
  auto direct = std::make_unique<QuarnSocket>(owner.library());
  other.reset();
  EXPECT_FALSE(second.canUnload());
  EXPECT_EQ(direct->ProntoPerUscire(), 0);
  direct.reset();
  EXPECT_TRUE(second.canUnload());
  make().reset();
  EXPECT_EQ(owner.host, nullptr);
}

TEST_F(Component, RefusesASecondThread) {
  ComponentServer::registerServer(registry, "quarnex.dll");
  const auto object = make();
  int number = 0;
  std::thread([&] { number = failureOf([&] { make(); }); }).join();
  EXPECT_EQ(number, 429);
}

TEST_F(Component, FindsItsOwnMethodsAndNoOthers) {
  ComponentServer::registerServer(registry, "quarnex.dll");
  const auto object = make();
  EXPECT_EQ(object->dispatchIdOf("cONNESSO"), 0x6003000E);
  EXPECT_EQ(std::get<std::int16_t>(object->invoke(0x60030002, {})), -1);
  EXPECT_EQ(failureOf([&] { object->invoke("send", {}); }), 438);
  EXPECT_EQ(failureOf([&] { object->invoke(0x6003000F, {}); }), 438);
}

TEST(ComponentValues, AreConvertedAsVariantsAre) {
  const struct {
    ComponentValue parameter;
    Value integer, boolean, text;
  } rows[] = {
      {std::monostate{}, std::int16_t{0}, false, std::string()},
      {true, std::int16_t{-1}, true, std::string("-1")},
      {std::int16_t{-5}, std::int16_t{-5}, true, std::string("-5")},
      {std::int32_t{0}, std::int16_t{0}, false, std::string("0")},
      {2.5, std::int16_t{2}, true, std::string("2.5")},
      {-3.5, std::int16_t{-4}, true, std::string("-3.5")},
      {std::string(" 7 "), std::int16_t{7}, true, std::string(" 7 ")},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(converted(row.parameter, ValueKind::Integer), row.integer);
    EXPECT_EQ(converted(row.parameter, ValueKind::Boolean), row.boolean);
    EXPECT_EQ(converted(row.parameter, ValueKind::String), row.text);
  }
  EXPECT_EQ(converted(std::string("TRUE"), ValueKind::Boolean), Value(true));
  EXPECT_EQ(converted(std::string("False"), ValueKind::Boolean), Value(false));
  for (const ComponentValue& tooLarge :
       {ComponentValue(32'768), ComponentValue(-1e99), ComponentValue("40000")})
    EXPECT_EQ(failureOf([&] { converted(tooLarge, ValueKind::Integer); }), 6);
  for (const char* noNumber : {"", "1x", "true"})
    EXPECT_EQ(failureOf([&] { converted(noNumber, ValueKind::Integer); }), 13) << noNumber;
}

TEST(ComponentClasses, AreThoseOfTheTypeLibrary) {
  std::ifstream file(QUARNEX_TYPE_LIBRARY);
  const std::string source(std::istreambuf_iterator<char>(file), {});
  EXPECT_EQ(source, typeLibrarySource());
}

}  // namespace
}  // namespace quarnex::test
