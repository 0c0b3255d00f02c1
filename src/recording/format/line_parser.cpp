#include "recording/format/line_parser.h"

#include <algorithm>
#include <bit>
#include <string>
#include <utility>

namespace quarnex::recording {
namespace {

constexpr std::int64_t kFirstSecond = -62135596800;  // 0001-01-01
constexpr std::int64_t kLastSecond = 253402300799;   // 9999-12-31
constexpr std::int64_t kOffsetMax = 86399;

std::int32_t offsetOf(const LineFields& fields) {
  return static_cast<std::int32_t>(fields.integer(Key::UtcOffset, -kOffsetMax, kOffsetMax));
}

// Position of `word` in a table of names, as the enumerator that stands for it.
template <class Enum, class Table, class Projection = std::identity>
Enum oneOf(const Table& table, std::string_view word, Projection projection = {}) {
  const auto found = std::ranges::find(table, word, projection);
  if (found == table.end()) throw WrongValue("\"" + std::string(word) + "\" is unknown");
  return static_cast<Enum>(found - table.begin());
}

/// The operation of that name, as long as `fits` holds for it.
Operation operationNamed(std::string_view word, bool (*fits)(Operation)) {
  const auto operation = oneOf<Operation>(kOperations, word, &OperationShape::name);
  if (!fits(operation)) throw WrongValue("\"" + std::string(word) + "\" is unknown");
  return operation;
}

SocketId socketOf(const LineFields& fields) {
  constexpr std::array arrays = {SocketArray::ClientSocket, SocketArray::ServerSocket,
                                 SocketArray::SrvAccept};
  const auto array =
      oneOf<SocketArray>(arrays, fields.word(Key::Socket), [](SocketArray one) { return nameOf(one); });
  return {array, fields.integer<std::int16_t>(Key::Index)};
}

void mustBeTrue(const LineFields& fields, Key key) {
  if (!fields.boolean(key)) throw WrongValue("has a false where only true makes sense");
}

void fillClock(Line& line, LineFields& fields, Key time) {
  line.at.second = fields.integer(time, kFirstSecond, kLastSecond);
  line.utcOffset.reset();
  if (fields.has(Key::UtcOffset)) line.utcOffset = offsetOf(fields);
}

Value valueOf(Field& field) {
  switch (field.type) {
    case Field::Type::Null:
      return {};
    case Field::Type::Boolean:
      return field.number != 0;
    case Field::Type::Integer:
      if (!std::in_range<std::int16_t>(field.number)) throw WrongValue("has an integer of more than 16 bits");
      return static_cast<std::int16_t>(field.number);
    case Field::Type::Text:
      return bytesOf(field);
    default:
      throw WrongValue("has a value of an unknown type");
  }
}

void fillStep(Line& line, LineFields& fields) {
  fillClock(line, fields, Key::At);
  line.nested = fields.has(Key::Nested) && fields.boolean(Key::Nested);
}

void fillCall(Line& line, LineFields& fields) {
  line.kind = LineKind::Call;
  fillStep(line, fields);
  if (line.nested) throw Damage("is a host call, which cannot be nested");
  line.method = findMethod(fields.word(Key::Call));
  if (line.method == nullptr) throw Damage("calls a method that does not exist");
  line.values.clear();
  for (Field& parameter : fields.params()) line.values.push_back(valueOf(parameter));
  if (!parametersFit(*line.method, line.values)) throw Damage("has parameters that the method does not take");
}

void fillTick(Line& line, LineFields& fields) {
  line.kind = LineKind::Tick;
  fillStep(line, fields);
  mustBeTrue(fields, Key::Tick);
}

void fillEvent(Line& line, LineFields& fields) {
  line.kind = LineKind::Event;
  fillStep(line, fields);
  line.event = oneOf<EventKind>(kEvents, fields.word(Key::Event));
  line.socket = socketOf(fields);
  line.number = fields.integer<std::int16_t>(Key::Code);
  if (line.event != EventKind::Accept) return;
  line.handle = fields.integer<std::int32_t>(Key::Handle);
  line.text = fields.bytes(Key::RemoteHost);
}

void fillTrace(Line& line, LineFields& fields) {
  line.kind = LineKind::Trace;
  line.text = fields.bytes(Key::Text);
  line.number = fields.integer<std::int16_t>(Key::Trace);
}

void fillArgument(Line& line, LineFields& fields) {
  switch (line.operation) {
    case Operation::Attach:
      line.number = fields.integer<std::int32_t>(Key::Handle);
      return;
    case Operation::CreateLog:
      line.text = fields.bytes(Key::Name);
      return;
    default:
      if (shapeOf(line.operation).argument == OperandKind::Number)
        line.number = fields.integer<std::int32_t>(Key::Value);
      if (shapeOf(line.operation).argument == OperandKind::Text) line.text = fields.bytes(Key::Value);
  }
}

void fillDid(Line& line, LineFields& fields) {
  line.kind = LineKind::Performed;
  line.operation = operationNamed(fields.word(Key::Did), hasOwnLine);
  if (line.operation == Operation::Send) throw WrongValue("\"send\" is written as \"sent\"");
  line.socket = shapeOf(line.operation).onSocket ? socketOf(fields) : SocketId{};
  line.number = 0;
  line.text.clear();
  fillArgument(line, fields);
}

void fillSent(Line& line, LineFields& fields) {
  line.kind = LineKind::Performed;
  line.operation = Operation::Send;
  line.number = 0;
  line.text = fields.bytes(Key::Sent);
  line.socket = socketOf(fields);
}

void fillResult(Line& line, LineFields& fields) {
  line.kind = LineKind::Result;
  line.values.clear();
  line.values.push_back(valueOf(fields.field(Key::Result)));
}

void fillFailure(Line& line, LineFields& fields) {
  line.kind = LineKind::Failure;
  line.text = fields.bytes(Key::Description);
  line.number = fields.integer<std::int32_t>(Key::Failure);
}

void fillEnd(Line& line, LineFields& fields) {
  line.kind = LineKind::End;
  mustBeTrue(fields, Key::End);
}

void fillFetched(Line& line, LineFields& fields) {
  line.kind = LineKind::Fetched;
  line.operation = Operation::Fetch;
  line.text = fields.bytes(Key::Fetched);
  line.socket = socketOf(fields);
}

void fillFailed(Line& line, LineFields& fields) {
  line.operation = operationNamed(fields.word(Key::Failed),
                                  [](Operation one) { return hasOwnLine(one) || isProperty(one); });
  line.kind = isRead(line.operation) ? LineKind::FailedRead : LineKind::FailedOperation;
  if (line.operation == Operation::CloseLog) throw Damage("lets \"closeLog\" fail, which never fails");
  line.socket = shapeOf(line.operation).onSocket ? socketOf(fields) : SocketId{};
  line.number = fields.integer<std::int32_t>(Key::Number);
  line.text = fields.bytes(Key::Description);
}

void fillProperty(Line& line, LineFields& fields) {
  line.kind = LineKind::Property;
  line.operation = operationNamed(fields.word(Key::Property), isProperty);
  const OperationShape& shape = shapeOf(line.operation);
  line.socket = shape.onSocket ? socketOf(fields) : SocketId{};
  if (shape.result == OperandKind::Text) {
    line.text = fields.bytes(Key::Value);
  } else if (line.operation == Operation::Period) {
    line.number = fields.integer<std::int16_t>(Key::Value);
  } else {
    line.number = fields.integer<std::int32_t>(Key::Value);
  }
}

void fillNow(Line& line, LineFields& fields) {
  line.kind = LineKind::Now;
  fillClock(line, fields, Key::Now);
}

void fillMissing(Line& line, LineFields& fields) {
  line.kind = LineKind::Missing;
  line.text = std::to_string(fields.integer<std::int64_t>(Key::Missing));
}

using Fill = void (*)(Line&, LineFields&);

// By the key that makes the line, in the order of Key.
constexpr Fill kFills[] = {fillCall,    fillTick, fillEvent,   fillTrace,  fillDid,      fillSent, fillResult,
                           fillFailure, fillEnd,  fillFetched, fillFailed, fillProperty, fillNow};

bool isOutput(Key key) {
  return key >= Key::Trace && key <= Key::End;
}

}  // namespace

std::int32_t headerOffset(LineFields& fields) {
  if (!fields.has(Key::Quarnex) || fields.word(Key::Quarnex) != "recording") {
    throw Damage("is not the first line of a recording");
  }
  const auto version = fields.integer<std::int64_t>(Key::Version);
  if (version != 1) throw Damage("says version " + std::to_string(version) + "; only version 1 is known");
  return offsetOf(fields);
}

void fillLine(Line& line, LineFields& fields) {
  if (fields.kinds() == 0 && fields.has(Key::Missing)) return fillMissing(line, fields);
  if (fields.kinds() == 0) throw Damage("is no line of a recording");
  if (!std::has_single_bit(fields.kinds())) throw Damage("is two lines of a recording in one");
  const auto key = static_cast<unsigned>(std::countr_zero(fields.kinds()));
  line.nested = false;
  try {
    kFills[key](line, fields);
  } catch (const WrongValue&) {
    if (!isOutput(static_cast<Key>(key))) throw;
    line.kind = LineKind::NoOutput;
  }
}

}  // namespace quarnex::recording
