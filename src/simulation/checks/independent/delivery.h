// Rule: each text arrives once and in order, or an observed cause explains the difference.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <variant>

#include "simulation/checks/independent/check.h"
#include "simulation/peers/hostile_bytes.h"

namespace quarnex::simulation {

class Delivery : public Check {
 public:
  using Check::Check;

  void added(std::int16_t link) {
    links_[link] = {};
    engine_.excuse(link, Cause::Restarted);
  }
  void called(const HostCall& call) {
    if (call.method == "Chiudi") engine_.excuse(call.link, Cause::Closed);
    if (call.method == "Uscita") {
      for (std::size_t each = 1; each < engine_.added.size(); ++each)
        engine_.excuse(static_cast<std::int16_t>(each), Cause::Closed);
    }
    if (call.method == "Invia" && call.link != 0)
      queued(call.link, std::get<std::string>(call.parameters[1]));
  }
  void returned(const HostCall& call, const Value& result) {
    if (call.method == "GetMessaggioArrivato" && call.link != 0)
      taken(call.link, std::get<std::string>(result));
  }
  void traced(std::int16_t link, std::string_view text) {
    if (begins(text, "ATTIVATO SOCKET ")) activated(link);
    if (begins(text, "P:Errore: ")) engine_.excuse(link, Cause::Failed);
    if (begins(text, "P:X000E0701")) engine_.excuse(link, Cause::Connected);
    if (begins(text, "P:X000E0702")) engine_.excuse(link, Cause::Disconnected);
    if (begins(text, "IN CANNA:")) links_[link].batch = fieldsOf(text);
    if (begins(text, "R>") && engine_.at(link).tcp)
      engine_.at(link).received->receiveBody(text.substr(2), engine_.site.time.now());
  }
  void performs(std::int16_t link, const ServiceCall& call) {
    TextFlow* const flow = engine_.at(link).sent;
    if (call.operation != Operation::Send || flow == nullptr) return;
    constexpr std::size_t envelope = 4;  // start character, checksum, end character
    if (call.text().size() > envelope) flow->sendBody(call.text().substr(1, call.text().size() - envelope));
    if (call.text().find("|9CMD|") != std::string_view::npos) sendsData(link, call.text());
  }
  void fails(std::int16_t link, const ServiceCall& call) {
    const bool bytesLost = call.operation == Operation::Fetch || call.operation == Operation::ReceivedText;
    links_[link].bytesLost = links_[link].bytesLost || bytesLost;
    engine_.excuse(link, Cause::Failed);
  }

 private:
  struct Link {
    std::string batch;       // the fields of one that was built and has not been sent yet
    bool bytesLost = false;  // by a failed fetch, since the sockets were activated
  };

  static std::string_view fieldsOf(std::string_view message) {
    return message.substr(std::min(message.find('|'), message.size()));
  }

  void queued(std::int16_t link, const std::string& text) {
    if (text == "VUOTABUFFER") engine_.excuse(link, Cause::Emptied);
    engine_.at(link).sent->send(text, engine_.site.time.now());
  }

  void activated(std::int16_t link) {
    engine_.excuse(link, Cause::Disconnected);
    engine_.at(link).received->restart(engine_.site.time.now());
    links_[link].bytesLost = false;
  }

  // Data other than the batch that waits to be sent has been sent before. An acknowledgement that it carries
  // comes again, too, and the peer may take it for that of the batch.
  void sendsData(std::int16_t link, std::string_view bytes) {
    std::string& batch = links_[link].batch;
    if (batch.empty() || !fieldsOf(bytes).starts_with(batch)) return engine_.excuse(link, Cause::Repeated);
    batch.clear();
  }

  void taken(std::int16_t link, const std::string& text) {
    if (!engine_.site.peersKnown || text.empty() || text.starts_with("X000E")) return;
    TextFlow& flow = *engine_.at(link).received;
    const Arrival arrival = flow.deliver(text);
    if (engine_.site.ledger.unexplained() > 0)
      engine_.report(link, "texts were lost or doubled without a cause");
    if (arrival == Arrival::Foreign && !mayBeForeign(link, text))
      engine_.report(link, "a text was delivered that nobody sent: " + text);
    // Damage also repeats old frames. Where a full queue dropped a part of the first copy of a batch, the
    // second copy brings its beginning after its end.
    const bool mayBeOld = flow.hasForeignBody() || flow.damaged() || flow.overflowed();
    if (arrival == Arrival::Old && !mayBeOld)
      engine_.report(link, "a text was delivered out of order: " + text);
  }

  // Strangers mark their texts or return those of this link. A start character inside a text is the place
  // where one frame broke off and the next one was taken for the rest of it. The checksum does not detect
  // every byte that the network changed or that a failed fetch dropped.
  bool mayBeForeign(std::int16_t link, std::string_view text) {
    const AddedLink& ends = engine_.at(link);
    constexpr char startCharacter = 2;
    return ends.received->hasForeignBody() &&
           (ends.received->damaged() || links_[link].bytesLost ||
            text.find(kHostileMark) != std::string_view::npos ||
            text.find(startCharacter) != std::string_view::npos || ends.sent->knows(text));
  }

  PerIndex<Link> links_;
};

}  // namespace quarnex::simulation
