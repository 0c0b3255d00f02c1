// Tests the C interface: bad arguments to every function, structs of other versions, reports and failures.
#include "quarnex/quarnex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "quarnex/quarn_socket.h"
#include "quarnex/testing.h"

namespace quarnex {
namespace {

using namespace std::chrono_literals;

struct Instance {
  Instance() { EXPECT_EQ(quarnex_create(&handle, nullptr), 0); }
  ~Instance() { quarnex_destroy(handle); }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  quarnex_instance* handle = nullptr;
};

/// Runs `body` inside a simulated host.
template <class Body>
void inHost(const Body& body) {
  testkit::simulate([&](testkit::TestSite& site) {
    site.add("host", [&] {
      body();
      return 0;
    });
  });
}

constexpr auto kFunctions = std::make_tuple(
    quarnex_create, quarnex_Add, quarnex_GetMessaggioArrivato, quarnex_ProntoPerUscire, quarnex_Invia,
    quarnex_Apri, quarnex_Chiudi, quarnex_Init, quarnex_Uscita, quarnex_MessaggioArrivato, quarnex_GetDebug,
    quarnex_AttivaDebug, quarnex_DisattivaDebug, quarnex_AttivaLog, quarnex_DisattivaLog, quarnex_Connesso,
    quarnex_turn, quarnex_next_deadline, quarnex_fd, quarnex_next_item, quarnex_report_waits,
    quarnex_links_with_news, quarnex_parse_report, quarnex_send, quarnex_accepted, quarnex_decided_up_to,
    quarnex_pending, quarnex_drain_and_close, quarnex_drain_and_leave, quarnex_snapshot, quarnex_outages,
    quarnex_outage, quarnex_in_words, quarnex_enable_events, quarnex_next_event, quarnex_events_waiting,
    quarnex_check_text, quarnex_encode_text, quarnex_decode_text, quarnex_port_for_type,
    quarnex_set_memory_limits, quarnex_set_log_settings, quarnex_flush_log, quarnex_process_snapshot,
    quarnex_listen_on, quarnex_flight_losses, quarnex_flush_flight);

template <class Type>
constexpr bool isOptional = std::is_same_v<Type, const char*> || std::is_same_v<Type, quarnex_error*>;

template <class Type>
concept HasSize = requires(Type value) {
  value.size;
};

/// A good argument of each type: the instance, a struct with its size, or 0.
template <class Type>
Type argument(quarnex_instance* instance) {
  if constexpr (std::is_same_v<Type, quarnex_instance*>) {
    return instance;
  } else if constexpr (std::is_same_v<Type, const char*>) {
    return "";
  } else if constexpr (std::is_pointer_v<Type>) {
    static std::remove_const_t<std::remove_pointer_t<Type>> value;
    value = {};
    if constexpr (HasSize<decltype(value)>) value.size = sizeof value;
    return &value;
  } else {
    return {};
  }
}

/// Calls `function` once for each parameter that can be wrong: NULL, a size of 0, or a link above 16 bits.
template <class... Types>
void callWronglyInEachWay(quarnex_instance* instance, std::int32_t (*function)(Types...)) {
  const auto spoil = [&]<std::size_t at>(std::integral_constant<std::size_t, at>) {
    std::tuple<Types...> arguments{argument<Types>(instance)...};
    using Type = std::tuple_element_t<at, std::tuple<Types...>>;
    auto& spoilt = std::get<at>(arguments);
    SCOPED_TRACE("parameter " + std::to_string(at));
    if constexpr (at == 1 && std::is_same_v<Type, std::int32_t>) {
      spoilt = 70000;
      EXPECT_EQ(std::apply(function, arguments), 6);
    } else if constexpr (std::is_pointer_v<Type> && !isOptional<Type>) {
      if constexpr (HasSize<std::remove_pointer_t<Type>>) {
        const_cast<std::remove_const_t<std::remove_pointer_t<Type>>*>(spoilt)->size = 0;
        EXPECT_EQ(std::apply(function, arguments), 5);
      }
      spoilt = nullptr;
      EXPECT_EQ(std::apply(function, arguments), 5);
    }
  };
  [&]<std::size_t... at>(std::index_sequence<at...>) {
    (spoil(std::integral_constant<std::size_t, at>()), ...);
  }
  (std::index_sequence_for<Types...>());
}

TEST(CInterface, RefusesEveryBadArgumentOfEveryFunction) {
  inHost([] {
    const Instance quarn;
    int number = 0;
    const auto call = [&](auto function) {
      SCOPED_TRACE("function " + std::to_string(number++));
      callWronglyInEachWay(quarn.handle, function);
    };
    std::apply([&](auto... functions) { (call(functions), ...); }, kFunctions);
  });
}

TEST(CInterface, FillsOnlyTheBytesOfACallersStruct) {
  inHost([] {
    const Instance quarn;
    std::int32_t link = 0;
    ASSERT_EQ(quarnex_Add(quarn.handle, "ABC", 3, 5, 1, 1, &link, nullptr), 0);
    struct {
      quarnex_link_snapshot known;
      char beyond[64];
    } filled;
    for (std::uint32_t size = 8; size <= sizeof filled; size += 8) {
      std::memset(&filled, 0x5A, sizeof filled);
      filled.known.size = size;
      ASSERT_EQ(quarnex_snapshot(quarn.handle, link, &filled.known, nullptr), 0);
      const auto* bytes = reinterpret_cast<const char*>(&filled);
      const std::size_t end = std::min<std::size_t>(size, sizeof filled.known);
      EXPECT_EQ(filled.known.size, size);
      EXPECT_EQ(filled.known.index, 1);
      EXPECT_TRUE(std::all_of(bytes + end, bytes + sizeof filled, [](char byte) { return byte == 0x5A; }));
    }
    EXPECT_EQ(std::string(filled.known.why.bytes), "not opened");
  });
}

TEST(CInterface, ReadsStructsOfOtherVersions) {
  inHost([] {
    const Instance quarn;
    struct {
      quarnex_log_settings known;
      std::uint64_t later;
    } given{};
    const auto set = [&](std::size_t size, std::int32_t filesMax, std::uint64_t later) {
      given.known.size = static_cast<std::uint32_t>(size);
      given.known.files_max = filesMax;
      given.later = later;
      return quarnex_set_log_settings(quarn.handle, &given.known, nullptr);
    };
    EXPECT_EQ(set(8, 2, 0), 0) << "an earlier version";
    EXPECT_EQ(set(8, -2, 0), 5) << "its member is read";
    EXPECT_EQ(set(sizeof given, 2, 0), 0) << "a later version without wishes";
    EXPECT_EQ(set(sizeof given, 2, 1), 5) << "a wish that this version does not know";
  });
}

TEST(CInterface, DescribesAFailureInAsManyBytesAsTheErrorHas) {
  const std::string description = "Invalid procedure call or argument: a pointer is NULL";
  for (const std::uint32_t size : {0U, 8U, 9U, 20U, 256U, 300U}) {
    quarnex_error error;
    std::memset(&error, 'x', sizeof error);
    error.size = size;
    EXPECT_EQ(quarnex_create(nullptr, &error), 5);
    const std::size_t room = size > 8 ? size - 9 : 0;
    EXPECT_EQ(std::string_view(error.description).substr(0, room), description.substr(0, room)) << size;
    EXPECT_EQ(error.description[std::min(room, description.size())], size > 8 ? '\0' : 'x') << size;
  }
}

TEST(CInterface, ReadsReportsAndPutsFailuresIntoWords) {
  inHost([] {
    const Instance quarn;
    quarnex_report report{};
    report.size = sizeof report;
    const std::string_view item = "X000E0701[#I5#$TABC$$S127.0.0.1:20105$]09300518112026";
    EXPECT_EQ(quarnex_parse_report(quarn.handle, item.data(), item.size(), &report, nullptr), 0);
    EXPECT_EQ(report.code, 701);
    quarnex_link_failure failure{};
    failure.kind = QUARNEX_FAILURE_CONNECTION_BROKEN;
    failure.number = 10054;
    quarnex_text words{};
    EXPECT_EQ(quarnex_in_words(quarn.handle, &failure, &words, nullptr), 0);
    EXPECT_EQ(std::string(words.bytes, words.length), inWords({FailureKind::ConnectionBroken, 10054}));
    quarnex_link_outage outage{};
    outage.size = sizeof outage;
    EXPECT_EQ(quarnex_outage(quarn.handle, 1, 0, &outage, nullptr), 9);
  });
}

TEST(CInterface, EndsTheTurnOfAKilledProgramWithAFailure) {
  std::int32_t ended = 0;
  testkit::simulate([&](testkit::TestSite& site) {
    testkit::TestProgram& program = site.addProgram("program", [&] {
      const Instance quarn;
      while (ended == 0) ended = quarnex_turn(quarn.handle, -1, nullptr);
      return 0;
    });
    site.run(1s);
    program.kill();
  });
  EXPECT_EQ(ended, 51);
}

}  // namespace
}  // namespace quarnex
