// Tests a host's code in virtual time, without a test framework: the peer dies and returns after a minute.
#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "quarnex/host.h"
#include "quarnex/testing.h"

namespace {

using namespace std::chrono_literals;

/// The code under test: one end of a link, which sends its latest report on each new connection.
class Station {
 public:
  static Station listening() { return Station(false); }
  static Station calling() { return Station(true); }

  void report(const std::string& text) {
    latest_ = text;
    if (connected_) link_.send(latest_);
  }
  void afterTurn() {
    while (const auto text = link_.receive()) received_.push_back(*text);
    const bool wasConnected = connected_;
    connected_ = link_.connected();
    if (connected_ && !wasConnected && !latest_.empty()) link_.send(latest_);
  }
  bool has(const std::string& text) const { return std::count(received_.begin(), received_.end(), text) > 0; }

 private:
  explicit Station(bool calls) : link_(calls ? host_.call("METEO", 7) : host_.listen("METEO", 7)) {
    link_.open();
  }

  quarnex::Host host_;
  quarnex::Link link_;
  std::string latest_;
  std::vector<std::string> received_;
  bool connected_ = false;
};

void sendsAgainAfterThePeerReturns(quarnex::testkit::TestSite& site) {
  auto& tower = site.add("tower", Station::listening, &Station::afterTurn);
  auto& meteo = site.add("meteo", Station::calling, &Station::afterTurn);
  site.settle();
  tower.kill();
  site.run(1min);
  meteo->report("wind 12 knots");
  tower.start();
  site.settle();
  site.require(tower->has("wind 12 knots"), "the tower has no report");
  site.nothingMoreHappens();
}

}  // namespace

int main() {
  try {
    quarnex::testkit::simulate(sendsAgainAfterThePeerReturns);
    std::cout << "passed\n";
  } catch (const std::exception& failure) {
    std::cout << "failed: " << failure.what() << '\n';
    return 1;
  }
}
