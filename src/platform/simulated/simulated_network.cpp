#include "platform/simulated/simulated_network.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "quarnex/failure.h"
#include "services/socket_service.h"

namespace quarnex::simulated {
namespace {

constexpr std::int32_t kFirstFreePort = 49152;

// The four numbers of a dotted address; nothing if it is none.
std::optional<std::array<int, 4>> numbersOf(std::string_view dotted) {
  std::array<int, 4> numbers{};
  const char* next = dotted.data();
  const char* const end = next + dotted.size();
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0 && (next == end || *next++ != '.')) return std::nullopt;
    const auto [after, error] = std::from_chars(next, end, numbers[i]);
    if (error != std::errc() || numbers[i] < 0 || numbers[i] > 255) return std::nullopt;
    next = after;
  }
  return next == end ? std::optional(numbers) : std::nullopt;
}

}  // namespace

std::string dottedAddress(int machine, int viewer) {
  if (machine == viewer) return "127.0.0.1";
  return "10." + std::to_string(machine >> 16 & 255) + '.' + std::to_string(machine >> 8 & 255) + '.' +
         std::to_string(machine & 255);
}

std::optional<int> machineAt(std::string_view dotted, int viewer) {
  const auto numbers = numbersOf(dotted);
  if (!numbers) return std::nullopt;
  const auto [first, second, third, fourth] = *numbers;
  return first == 127 ? viewer : second << 16 | third << 8 | fourth;
}

void Network::listen(Address address, NetworkUser& listener) {
  if (!listeners_.emplace(address, &listener).second) throw Failure(kAddressInUse, "Address already in use");
}

void Network::leave(Address address, const NetworkUser& listener) {
  const auto found = listeners_.find(address);
  if (found != listeners_.end() && found->second == &listener) listeners_.erase(found);
}

std::int32_t Network::freePort(int machine) {
  do {
    lastFreePort_ = lastFreePort_ == kPortMax ? kFirstFreePort : lastFreePort_ + 1;
  } while (listening({machine, lastFreePort_}));
  return lastFreePort_;
}

std::shared_ptr<Call> Network::call(Address from, Address to, NetworkUser& caller) {
  auto call = std::make_shared<Call>(Call{&caller, from, to, nullptr});
  const CallFate fate = onCall ? onCall(*call) : CallFate{};
  if (fate.hangs) return call;
  if (fate.code != 0) {
    fail(call, fate.delay, fate.code);
  } else {
    time_.at(time_.now() + fate.delay, [this, call] { arrive(call); });
  }
  return call;
}

void Network::cancel(Call& call) {
  call.caller = nullptr;
  if (call.end) std::exchange(call.end, nullptr)->close();
}

std::vector<std::shared_ptr<Connection>> Network::connections() {
  std::vector<std::shared_ptr<Connection>> living;
  for (const auto& candidate : connections_) {
    auto connection = candidate.lock();
    if (connection && !(connection->caller.closed() && connection->called.closed()))
      living.push_back(std::move(connection));
  }
  return living;
}

// The call has travelled to the port.
void Network::arrive(const std::shared_ptr<Call>& call) {
  if (call->caller == nullptr) return;
  const auto found = listeners_.find(call->to);
  if (found == listeners_.end()) return fail(call, 0, kConnectionRefused);
  const auto connection = connect(*call);
  call->end = connection->callerEnd();
  found->second->onCaller(connection->calledEnd());
  time_.at(time_.now() + connection->called.conditions.delay, [call] {
    if (call->caller != nullptr) call->caller->onConnected(std::exchange(call->end, nullptr));
  });
}

void Network::fail(const std::shared_ptr<Call>& call, Milliseconds delay, std::int16_t code) {
  time_.at(time_.now() + delay, [call, code] {
    if (call->caller != nullptr) call->caller->onCallFailed(code);
  });
}

std::shared_ptr<Connection> Network::connect(const Call& call) {
  auto connection = std::make_shared<Connection>(time_, random_.split(), call.to,
                                                 dottedAddress(call.from.machine, call.to.machine),
                                                 dottedAddress(call.to.machine, call.from.machine));
  ++connectionsMade_;
  if (connections_.size() >= connectionsSweepAt_) {
    std::erase_if(connections_, [](const auto& candidate) { return candidate.expired(); });
    connectionsSweepAt_ = std::max<std::size_t>(64, 2 * connections_.size());
  }
  connections_.push_back(connection);
  if (onConnection) onConnection(*connection);
  return connection;
}

}  // namespace quarnex::simulated
