#include "conformance/c_binding.h"

#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>

#include "quarnex/failure.h"
#include "quarnex/quarnex.h"

namespace quarnex::test {
namespace {

using nlohmann::json;

/// Where the arguments of one call come from, in the order of the C function.
struct Source {
  quarnex_instance* instance;
  const json& parameters;
  std::size_t next = 0;
  std::string text{};
};

/// An argument by value; a text gives a pointer and then its length, and a duration is given in seconds.
template <class Type>
struct Argument {
  explicit Argument(Source& source) {
    if constexpr (std::is_same_v<Type, quarnex_instance*>) {
      value = source.instance;
    } else if constexpr (std::is_same_v<Type, const char*>) {
      source.text = bytesOf(source.parameters.at(source.next++));
      value = source.text.data();
    } else if constexpr (std::is_same_v<Type, std::size_t>) {
      value = source.text.size();
    } else {
      const json& given = source.parameters.at(source.next++);
      value = given.is_boolean() ? given.get<bool>() : given.get<Type>();
      if constexpr (std::is_same_v<Type, std::int64_t>) value *= 1000;
    }
  }
  Type get() const { return value; }
  Type value{};
};

template <class Type>
concept HasSize = requires(Type value) {
  value.size;
};

/// An argument for a result.
template <class Type>
struct Result {
  explicit Result(Source& /*source*/) {
    if constexpr (HasSize<Type>) value.size = sizeof value;
  }
  Type* get() { return &value; }
  Type value{};
};

template <class Type>
using ArgumentFor = std::conditional_t<std::is_pointer_v<Type> && !std::is_same_v<Type, quarnex_instance*> &&
                                           !std::is_same_v<Type, const char*>,
                                       Result<std::remove_pointer_t<Type>>, Argument<Type>>;

template <class Type, class Results>
auto& resultIn(Results& results) {
  return std::get<Result<Type>>(results).value;
}

using Call = std::function<json(quarnex_instance*, const json&)>;

/// Calls `function` with the parameters, and converts its results with `convert`.
template <class... Types, class Convert>
Call calling(std::int32_t (*function)(Types...), Convert convert) {
  return [=](quarnex_instance* instance, const json& parameters) -> json {
    Source source{instance, parameters};
    std::tuple<ArgumentFor<Types>...> arguments{ArgumentFor<Types>(source)...};
    const std::int32_t number = std::apply([&](auto&... each) { return function(each.get()...); }, arguments);
    const quarnex_error& error = resultIn<quarnex_error>(arguments);
    if (number != 0) throw Failure(number, error.description);
    return convert(arguments);
  };
}

std::string utf8Of(const quarnex_text& text) {
  std::string utf8;
  for (std::size_t i = 0; i < text.length; ++i) appendUtf8(utf8, static_cast<unsigned char>(text.bytes[i]));
  return utf8;
}

const auto nothing = [](auto&) { return nullptr; };
const auto number = [](auto& results) { return resultIn<std::int32_t>(results); };
const auto truth = [](auto& results) { return resultIn<std::int32_t>(results) != 0; };
const auto textNumber = [](auto& results) { return resultIn<std::uint64_t>(results); };
const auto count = [](auto& results) { return resultIn<std::size_t>(results); };
const auto text = [](auto& results) -> json {
  const quarnex_text& found = resultIn<quarnex_text>(results);
  return found.bytes == nullptr ? json(nullptr) : json(utf8Of(found));
};

const auto receivedText = [](auto& results) -> json {
  return resultIn<std::int32_t>(results) == QUARNEX_ITEM_NONE ? json(nullptr) : text(results);
};

const auto sent = [](auto& results) -> json {
  return {{"number", textNumber(results)}, {"refusal", quarnex_refusal_name(number(results))}};
};

const auto ranges = [](auto& results) {
  json list = json::array();
  for (std::size_t i = 0; i < count(results); ++i) {
    const quarnex_pending_texts& range = resultIn<const quarnex_pending_texts*>(results)[i];
    list.push_back({{"from", range.from}, {"to", range.to}, {"inFrame", range.in_frame != 0}});
  }
  return list;
};

const auto links = [](auto& results) {
  const std::int16_t* first = resultIn<const std::int16_t*>(results);
  return json(std::vector<std::int16_t>(first, first + count(results)));
};

const auto check = [](auto& results) -> json {
  const auto& found = resultIn<quarnex_text_check>(results);
  return {{"rule", quarnex_rule_name(found.rule)}, {"never", found.never != 0}, {"position", found.position}};
};

json byCause(const std::uint64_t (&counts)[QUARNEX_CAUSES]) {
  json named = json::object();
  for (int cause = 0; cause < QUARNEX_CAUSES; ++cause)
    if (counts[cause] > 0) named[quarnex_cause_name(cause)] = counts[cause];
  return named;
}

json failureIn(const quarnex_link_failure& failure) {
  return {{"kind", quarnex_failure_kind_name(failure.kind)}, {"number", failure.number}};
}

json outages(quarnex_instance* instance, const json& parameters) {
  json list = json::array();
  std::size_t remembered = 0;
  quarnex_outages(instance, parameters[0], &remembered, nullptr);
  for (std::size_t i = 0; i < remembered; ++i) {
    quarnex_link_outage outage{};
    outage.size = sizeof outage;
    quarnex_outage(instance, parameters[0], i, &outage, nullptr);
    list.push_back(
        {{"number", outage.number}, {"attempts", outage.attempts}, {"reason", failureIn(outage.reason)}});
  }
  return list;
}

const auto snapshot = [](auto& results) -> json {
  const auto& link = resultIn<quarnex_link_snapshot>(results);
  if (link.index == 0) return nullptr;
  return {{"index", link.index},
          {"type", utf8Of(link.type)},
          {"identifier", link.identifier},
          {"client", link.client != 0},
          {"tcp", link.tcp != 0},
          {"phase", quarnex_phase_name(link.phase)},
          {"outbound", link.outbound},
          {"undecided", link.undecided},
          {"reconnections", link.reconnections},
          {"lastFailure", link.has_last_failure != 0 ? failureIn(link.last_failure) : json(nullptr)},
          {"outcomes",
           {{"acknowledged", link.acknowledged},
            {"dropped", byCause(link.dropped)},
            {"unknown", byCause(link.unknown)}}}};
};

const auto event = [](auto& results) -> json {
  const auto& taken = resultIn<quarnex_event>(results);
  if (!truth(results)) return nullptr;
  return {{"type", quarnex_event_name(taken.type)},
          {"link", taken.link},
          {"count", taken.count},
          {"timedOut", taken.timed_out != 0},
          {"reason", taken.has_reason != 0 ? failureIn(taken.reason) : json(nullptr)},
          {"receipt",
           {{"from", taken.receipt.from},
            {"to", taken.receipt.to},
            {"outcome", quarnex_outcome_name(taken.receipt.outcome)},
            {"cause", quarnex_cause_name(taken.receipt.cause)},
            {"frames", taken.receipt.frames}}}};
};

const std::map<std::string, Call> kCalls{
    {"Add", calling(quarnex_Add, number)},
    {"GetMessaggioArrivato", calling(quarnex_GetMessaggioArrivato, text)},
    {"ProntoPerUscire", calling(quarnex_ProntoPerUscire, number)},
    {"Invia", calling(quarnex_Invia, nothing)},
    {"Apri", calling(quarnex_Apri, nothing)},
    {"Chiudi", calling(quarnex_Chiudi, nothing)},
    {"Init", calling(quarnex_Init, nothing)},
    {"Uscita", calling(quarnex_Uscita, nothing)},
    {"MessaggioArrivato", calling(quarnex_MessaggioArrivato, truth)},
    {"GetDebug", calling(quarnex_GetDebug, text)},
    {"AttivaDebug", calling(quarnex_AttivaDebug, nothing)},
    {"DisattivaDebug", calling(quarnex_DisattivaDebug, nothing)},
    {"AttivaLog", calling(quarnex_AttivaLog, nothing)},
    {"DisattivaLog", calling(quarnex_DisattivaLog, nothing)},
    {"Connesso", calling(quarnex_Connesso, truth)},
    {"reportWaits", calling(quarnex_report_waits, truth)},
    {"receive", calling(quarnex_next_item, receivedText)},
    {"linksWithNews", calling(quarnex_links_with_news, links)},
    {"send", calling(quarnex_send, sent)},
    {"accepted", calling(quarnex_accepted, textNumber)},
    {"decidedUpTo", calling(quarnex_decided_up_to, textNumber)},
    {"pending", calling(quarnex_pending, ranges)},
    {"outages", outages},
    {"snapshot", calling(quarnex_snapshot, snapshot)},
    {"enableEvents", calling(quarnex_enable_events, nothing)},
    {"nextEvent", calling(quarnex_next_event, event)},
    {"eventsWaiting", calling(quarnex_events_waiting, count)},
    {"checkText", calling(quarnex_check_text, check)},
    {"encodeText", calling(quarnex_encode_text, text)},
    {"decodeText", calling(quarnex_decode_text, text)},
    {"drainAndClose", calling(quarnex_drain_and_close, nothing)},
    {"drainAndLeave", calling(quarnex_drain_and_leave, nothing)},
    {"turn", calling(quarnex_turn, nothing)},
};

class CBinding final : public Binding {
 public:
  CBinding() { quarnex_create(&instance_, nullptr); }
  ~CBinding() override { quarnex_destroy(instance_); }
  CBinding(const CBinding&) = delete;
  CBinding& operator=(const CBinding&) = delete;

  std::string_view name() const override { return "c"; }
  // `receive` skips reports.
  json call(const std::string& method, const json& parameters) override {
    while (method == "receive" && call("reportWaits", parameters).get<bool>())
      call("GetMessaggioArrivato", parameters);
    return kCalls.at(method)(instance_, parameters);
  }
  void turn() override { call("turn", {1}); }

 private:
  quarnex_instance* instance_ = nullptr;
};

}  // namespace

std::unique_ptr<Binding> makeCBinding() {
  return std::make_unique<CBinding>();
}

}  // namespace quarnex::test
