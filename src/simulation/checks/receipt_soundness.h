// Rule: each text gets one outcome; an acknowledged text was in the peer's queue, and a dropped one never is.
// Reads the engine's events.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "quarnex/quarn_socket.h"
#include "simulation/checks/record_check.h"

namespace quarnex::simulation {

class ReceiptSoundness : public RecordCheck {
 public:
  using RecordCheck::RecordCheck;

  void returned(const HostCall& call, const Value& result) {
    QuarnSocket quarn(*records_.library);
    if (call.method == "Add" && std::get<std::int16_t>(result) != 0) {
      links_[call.link] = {};
      quarn.enableEvents(call.link);
    }
    if (call.method != "Invia" || call.link == 0) return;
    Link& link = links_[call.link];
    if (quarn.accepted(call.link) == link.accepted) return;
    link.numbers[++link.accepted] = numberOf(std::get<std::string>(call.parameters[1]));
  }
  void traced(std::int16_t link, std::string_view text) {
    if (!engine_.at(link).tcp) return;
    if (!begins(text, "X:")) return;
    if (!engine_.at(link).received->queue(numberOf(text.substr(2))) && !isExcused(link))
      engine_.report(link, "a dropped text arrived: " + std::string(text));
  }
  // Not by its traces, which fail where the socket cannot be read.
  void connects(std::int16_t link) { engine_.at(link).received->reconnect(engine_.site.time.now()); }
  void changed(std::int16_t, const RecordedState&, const ConnectionRecord&) {
    QuarnSocket quarn(*records_.library);
    while (const auto event = quarn.nextEvent()) {
      if (event->type == EventType::Receipts && event->link != 0) decided(event->link, event->receipt);
    }
  }

 private:
  struct Link {
    std::uint64_t accepted = 0;
    std::map<std::uint64_t, std::uint64_t> numbers;  // of the undecided texts: the host's, by the link's
  };

  static std::uint64_t numberOf(std::string_view text) { return TextFlow::numberOf(text); }

  void decided(std::int16_t index, const Receipt& receipt) {
    Link& link = links_[index];
    for (std::uint64_t number = receipt.from; number <= receipt.to; ++number) {
      const auto text = link.numbers.extract(number);
      if (text.empty()) return engine_.report(index, "a text has two outcomes: " + std::to_string(number));
      ++engine_.site.receipts[static_cast<std::size_t>(receipt.outcome)];
      judge(index, receipt.outcome, text.mapped());
    }
  }
  void judge(std::int16_t index, Outcome outcome, std::uint64_t number) {
    const AddedLink& link = engine_.at(index);
    if (!link.tcp || !engine_.site.peersKnown || number == 0 || outcome == Outcome::Unknown) return;
    const bool sound = outcome == Outcome::Dropped ? link.sent->drop(number) : link.sent->queued(number);
    if (!sound && !isExcused(index))
      engine_.report(index, std::string("a receipt is wrong: text ") + std::to_string(number) + " was " +
                                nameOf(outcome));
  }
  // A checksum that fits a damaged frame, or a frame that the network repeats, is beyond every count.
  bool isExcused(std::int16_t index) {
    const AddedLink& link = engine_.at(index);
    const bool excused =
        link.sent->isConfused(engine_.site.time.now()) || link.received->isConfused(engine_.site.time.now());
    if (excused) ++engine_.site.receiptsExcused;
    return excused;
  }

  PerIndex<Link> links_;
};

}  // namespace quarnex::simulation
