#include "answers/json_values.h"

#include "recording/format/text_codes.h"

namespace quarnex {
namespace {

// The enumerators that `counts`, indexed by them, counts more than 0 of.
template <class Enumeration>
std::string occurred(const auto& counts) {
  JsonObject object;
  int index = 0;
  for (const std::uint64_t count : counts) {
    const auto enumerator = static_cast<Enumeration>(index++);
    if (count > 0) object.add(nameOf(enumerator), count);
  }
  return object.text();
}

std::string toJson(const LostEvents& lost) {
  return JsonObject()
      .add("from", lost.from)
      .add("to", lost.to)
      .addJson("events", occurred<EventType>(lost.events))
      .addJson("texts", occurred<Outcome>(lost.texts))
      .text();
}

std::string toJson(const LinkCounts& counts) {
  return JsonObject()
      .add("accepted", counts.accepted)
      .add("acknowledged", counts.acknowledged)
      .add("dropped", counts.dropped)
      .add("unknown", counts.unknown)
      .add("textsReceived", counts.textsReceived)
      .add("receivedDropped", counts.receivedDropped)
      .add("reconnections", counts.reconnections)
      .text();
}

}  // namespace

std::string toJson(std::string_view bytes) {
  return recording::jsonString(bytes);
}

std::string toJson(const char* text) {
  return recording::jsonString(text);
}

std::string toJson(bool value) {
  return value ? "true" : "false";
}

JsonObject& JsonObject::addJson(std::string_view name, std::string_view json) {
  if (text_.size() > 1) text_ += ',';
  text_.append("\"").append(name).append("\":").append(json);
  return *this;
}

std::string toJson(const TextCheck& check) {
  return JsonObject()
      .add("rule", nameOf(check.rule))
      .add("position", check.position)
      .add("warning", check.warning)
      .add("alone", check.alone)
      .add("never", check.never)
      .text();
}

std::string toJson(const LinkFailure& failure) {
  return JsonObject()
      .add("kind", nameOf(failure.kind))
      .add("number", failure.number)
      .add("text", failure.text)
      .add("phase", nameOf(failure.phase))
      .add("at", failure.at)
      .add("inWords", inWords(failure))
      .text();
}

std::string toJson(const Receipt& receipt) {
  return JsonObject()
      .add("from", receipt.from)
      .add("to", receipt.to)
      .add("outcome", nameOf(receipt.outcome))
      .add("cause", nameOf(receipt.cause))
      .add("frames", receipt.frames)
      .add("connection", receipt.connection)
      .text();
}

std::string toJson(const PendingTexts& texts) {
  return JsonObject().add("from", texts.from).add("to", texts.to).add("inFrame", texts.inFrame).text();
}

std::string toJson(const SendResult& result) {
  JsonObject object;
  object.add("number", result.number);
  if (result.refusal != Refusal::None) object.add("refusal", nameOf(result.refusal));
  if (result.refusal == Refusal::Text) object.add("check", result.check);
  return object.text();
}

std::string toJson(const OutcomeCounts& counts) {
  return JsonObject()
      .add("acknowledged", counts.acknowledged)
      .addJson("dropped", occurred<ReceiptCause>(counts.dropped))
      .addJson("unknown", occurred<ReceiptCause>(counts.unknown))
      .text();
}

std::string toJson(const LinkOutage& outage) {
  return JsonObject()
      .add("number", outage.number)
      .add("start", outage.start)
      .add("end", outage.end)
      .add("reason", outage.reason)
      .add("attempts", outage.attempts)
      .addJson("dropped", occurred<ReceiptCause>(outage.dropped))
      .add("why", outage.why)
      .text();
}

std::string toJson(const LinkEvent& event) {
  JsonObject object;
  object.add("type", nameOf(event.type))
      .add("link", event.link)
      .add("at", event.at)
      .add("milliseconds", event.milliseconds)
      .add("count", event.count);
  if (event.reason) object.add("reason", event.reason);
  if (!event.endpoint.empty()) object.add("endpoint", event.endpoint);
  if (event.type == EventType::Disconnected) object.add("staysQueued", event.staysQueued);
  if (event.type == EventType::Receipts || event.type == EventType::ReceivedDropped)
    object.add("receipt", event.receipt);
  if (event.type == EventType::Drained)
    object.add("timedOut", event.timedOut).add("receipts", event.receipts);
  if (event.type == EventType::Lost) object.addJson("lost", toJson(event.lost));
  return object.addJson("counts", toJson(event.counts)).text();
}

std::string toJson(const LinkSnapshot& link) {
  if (link.index == 0) return "null";
  return JsonObject()
      .add("index", link.index)
      .add("type", link.type)
      .add("identifier", link.identifier)
      .add("client", link.client)
      .add("tcp", link.tcp)
      .add("phase", nameOf(link.phase))
      .add("subState", link.subState)
      .add("closing", link.closing)
      .add("endpoint", link.endpoint)
      .add("port", link.port)
      .add("since", link.since)
      .add("messageReceived", link.messageReceived)
      .add("overdue", link.overdue)
      .add("deadline", link.deadline)
      .add("keepAliveDeadline", link.keepAliveDeadline)
      .add("replyDeadline", link.replyDeadline)
      .add("outbound", link.outbound)
      .add("inbound", link.inbound)
      .add("captured", link.captured)
      .add("batchInFlight", link.batchInFlight)
      .add("reportedDown", link.reportedDown)
      .add("failures", link.failures)
      .add("lastFailure", link.lastFailure)
      .add("lastError", link.lastError)
      .add("textsSent", link.textsSent)
      .add("textsReceived", link.textsReceived)
      .add("outcomes", link.outcomes)
      .add("undecided", link.undecided)
      .add("receivedDropped", link.receivedDropped)
      .add("framesSent", link.framesSent)
      .add("framesReceived", link.framesReceived)
      .add("lastHeard", link.lastHeard)
      .add("lastSent", link.lastSent)
      .add("lastAcknowledged", link.lastAcknowledged)
      .add("repetitions", link.repetitions)
      .add("badChecksums", link.badChecksums)
      .add("reconnections", link.reconnections)
      .add("bytesHeld", link.bytesHeld)
      .add("bytesUnsent", link.bytesUnsent)
      .add("limitSince", link.limitSince)
      .add("callersRefused", link.callersRefused)
      .add("why", link.why)
      .text();
}

}  // namespace quarnex
