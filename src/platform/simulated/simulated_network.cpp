#include "platform/simulated/simulated_network.h"

#include <charconv>
#include <utility>

#include "services/socket_errors.h"
#include "services/socket_service.h"

namespace quarnex::simulated {
namespace {

constexpr std::int32_t kFirstFreePort = 49152;

}  // namespace

std::string dottedAddress(int machine, int viewer) {
  if (machine == viewer) return "127.0.0.1";
  return "10." + std::to_string(machine >> 16 & 255) + '.' + std::to_string(machine >> 8 & 255) + '.' +
         std::to_string(machine & 255);
}

std::optional<int> machineAt(std::string_view dotted, int viewer) {
  const std::string text = std::string(dotted) + '.';
  const char* next = text.data();
  const char* const end = next + text.size();
  int numbers[4] = {};
  for (int& number : numbers) {
    const auto [after, error] = std::from_chars(next, end, number);
    if (error != std::errc() || *after != '.' || number < 0 || number > 255) return std::nullopt;
    next = after + 1;
  }
  if (next != end) return std::nullopt;
  return numbers[0] == 127 ? viewer : numbers[1] << 16 | numbers[2] << 8 | numbers[3];
}

void Network::listen(Address address, NetworkUser& listener) {
  if (!listeners_.emplace(address, &listener).second) throw numberedFailure(kAddressInUse);
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

std::shared_ptr<Call> Network::call(Address from, Address to, std::string host, NetworkUser& caller) {
  auto call = std::make_shared<Call>(Call{&caller, from, to, std::move(host), nullptr});
  const CallFate fate = onCall ? onCall(*call) : CallFate{};
  if (fate.hangs) return call;
  if (fate.code != 0) {
    conclude(call, fate.delay, fate.code);
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
  if (found == listeners_.end() || !found->second->listensOn(call->host)) {
    return conclude(call, 0, kConnectionRefused);
  }
  const auto connection = connect(*call);
  call->end = connection->callerEnd();
  found->second->onCaller(connection->calledEnd());
  conclude(call, connection->called.conditions.delay, 0);
}

void Network::conclude(const std::shared_ptr<Call>& call, Milliseconds delay, std::int16_t code) {
  time_.at(time_.now() + delay, [call, code] {
    if (call->caller != nullptr) call->caller->onOutcome(std::exchange(call->end, nullptr), code);
  });
}

std::shared_ptr<Connection> Network::connect(const Call& call) {
  auto connection = std::make_shared<Connection>(time_, random_.split(), call.to);
  connection->caller.peerAddress = dottedAddress(call.to.machine, call.from.machine);
  connection->called.peerAddress = dottedAddress(call.from.machine, call.to.machine);
  ++connectionsMade_;
  std::erase_if(connections_, [](const auto& candidate) { return candidate.expired(); });
  connections_.push_back(connection);
  if (onConnection) onConnection(*connection);
  return connection;
}

}  // namespace quarnex::simulated
