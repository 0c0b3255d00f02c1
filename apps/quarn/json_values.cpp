#include "quarn/json_values.h"

#include "recording/format/text_codes.h"

namespace quarnex::tool {

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
      .add("framesSent", link.framesSent)
      .add("framesReceived", link.framesReceived)
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

}  // namespace quarnex::tool
