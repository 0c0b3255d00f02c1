// Tests a host's code in virtual time, without a test framework: the peer dies and returns after a minute.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include "quarnex/quarn_socket.h"
#include "quarnex/testing.h"

namespace {

using namespace std::chrono_literals;

/// The code under test: one end of a link. It sends its latest report again whenever the link has come up.
class Station {
 public:
  Station(std::string type, bool client) : link_(quarn_.Add(type, 7, client, true)) { quarn_.Apri(link_); }

  void report(const std::string& text) { quarn_.Invia(link_, latest_ = text); }
  void afterTurn() {
    while (quarn_.MessaggioArrivato(link_)) {
      const bool isReport = quarn_.reportWaits(link_);
      const std::string item = quarn_.GetMessaggioArrivato(link_);
      if (!isReport) received_.push_back(item);
    }
    const bool wasConnected = connected_;
    connected_ = quarn_.Connesso(link_);
    if (connected_ && !wasConnected && !latest_.empty()) quarn_.Invia(link_, latest_);
  }
  bool has(const std::string& text) const { return std::count(received_.begin(), received_.end(), text) > 0; }

 private:
  quarnex::QuarnSocket quarn_;
  std::int16_t link_;
  std::string latest_;
  std::vector<std::string> received_;
  bool connected_ = false;
};

void sendsAgainAfterThePeerReturns(quarnex::testkit::TestSite& site) {
  auto& tower = site.add(
      "tower", [] { return Station("METEO", false); }, &Station::afterTurn);
  auto& meteo = site.add(
      "meteo", [] { return Station("METEO", true); }, &Station::afterTurn);
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
