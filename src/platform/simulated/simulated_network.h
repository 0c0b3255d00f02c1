// Network: the ports of all machines, calls to them, and the connections between them.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/connection.h"
#include "platform/simulated/random.h"
#include "platform/simulated/virtual_time.h"

namespace quarnex::simulated {

constexpr std::int16_t kAddressInUse = 10048;
constexpr std::int16_t kConnectionRefused = 10061;

/// The address of `machine` for `viewer`: "127.0.0.1" for itself, else "10.x.y.z".
std::string dottedAddress(int machine, int viewer);
/// The machine that `dotted` means to `viewer`; nothing if it is no address.
std::optional<int> machineAt(std::string_view dotted, int viewer);

struct CallFate {
  std::int16_t code = 0;   ///< the call fails with this number without reaching the port; 0 = it succeeds
  Milliseconds delay = 0;  ///< until its outcome, or until it reaches the port
  bool hangs = false;      ///< it never ends
};

/// A call under way, kept by its caller.
struct Call {
  NetworkUser* caller = nullptr;
  Address from;
  Address to;
  std::string host;          // the address that was called, as the caller names it
  std::shared_ptr<End> end;  // once it has reached the port
};

class Network {
 public:
  Network(VirtualTime& time, Random random) : time_(time), random_(random) {}
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;

  VirtualTime& time() const { return time_; }

  /// Calls to `address` reach `listener` until it leaves, if it listens on the host that they name. Failure
  /// 10048 if another listener has the port.
  void listen(Address address, NetworkUser& listener);
  void leave(Address address, const NetworkUser& listener);
  bool listening(Address address) const { return listeners_.contains(address); }
  /// A port of `machine` on which nobody listens, another one at each call.
  std::int32_t freePort(int machine);

  /// Starts a call to the machine of `to`, which the caller names `host`; its outcome comes later.
  std::shared_ptr<Call> call(Address from, Address to, std::string host, NetworkUser& caller);
  /// The caller gives up and receives no outcome.
  static void cancel(Call& call);

  /// All connections of which an owner still holds an end, the oldest first.
  std::vector<std::shared_ptr<Connection>> connections();
  std::uint64_t connectionsMade() const { return connectionsMade_; }

  /// Decides the fate of each call; without it all calls succeed.
  std::function<CallFate(const Call&)> onCall;
  /// Called with each new connection before anything travels on it, to set conditions and tampers.
  std::function<void(Connection&)> onConnection;

 private:
  void arrive(const std::shared_ptr<Call>& call);
  void conclude(const std::shared_ptr<Call>& call, Milliseconds delay, std::int16_t code);
  std::shared_ptr<Connection> connect(const Call& call);

  VirtualTime& time_;
  Random random_;
  std::map<Address, NetworkUser*> listeners_;
  std::vector<std::weak_ptr<Connection>> connections_;
  std::uint64_t connectionsMade_ = 0;
  std::int32_t lastFreePort_ = 49152;
};

}  // namespace quarnex::simulated
