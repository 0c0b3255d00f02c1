#include "simulation/peers/hostile_bytes.h"

#include <cstddef>
#include <string_view>
#include <vector>

#include "quarnex/times_and_limits.h"
#include "simulation/peers/wire_format.h"

namespace quarnex::simulation {
namespace {

using simulated::Random;

constexpr std::string_view kWords[] = {"9ACK", "9QRY", "9NODATA", "9CMD",    "9!", "9OKAY000",
                                       "9K",   "9.",   "9",       "9\xA7YZ", ""};

std::string anyBytes(Random& random, std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(random.below(256));
  return bytes;
}

std::string framed(int identifier, const std::vector<std::string>& fields) {
  return wire::frame(wire::message(identifier, fields));
}

std::string rubbish(Random& random, int) {
  return anyBytes(random, 1 + random.below(500));
}

std::string flood(Random& random, int) {
  const std::size_t size = 1 + random.below(65536);
  return std::string(size, random.chance(500) ? '\2' : '\3');
}

std::string tinyFrame(Random& random, int) {
  std::string frame = '\2' + anyBytes(random, random.below(7));
  return frame + '\3';
}

std::string emptyFrame(Random&, int) {
  return "\2@@\3";
}

std::string anyCount(Random& random, int identifier) {
  std::string message = wire::message(identifier, {"9CMD", "9."});
  message[6] = static_cast<char>(random.below(256));
  return wire::frame(message);
}

std::string limitMessage(Random& random, int identifier) {
  const std::string head = wire::message(identifier, {"9CMD"}) + kHostileMark;
  return wire::frame(head + std::string(kMessageLengthMax + random.below(2) - head.size() - 1, 'x') + '|');
}

std::string wordMix(Random& random, int identifier) {
  std::vector<std::string> fields;
  for (auto count = random.below(6); count > 0; --count)
    fields.emplace_back(kWords[random.below(std::size(kWords))]);
  return framed(identifier, fields);
}

std::string probes(Random& random, int identifier) {
  return framed(identifier, std::vector<std::string>(1 + random.below(kFieldsMax), "9!"));
}

std::string forgedReport(Random& random, int identifier) {
  return framed(identifier,
                {kHostileMark + std::string("\r\n001 00:00:00 forged"),
                 random.chance(500) ? "X000E0701[#I5#$TABC$$S127.0.0.1:20105$]00000001012026" : "9OKAY000",
                 "9CMD", "9."});
}

std::string unfinished(Random& random, int identifier) {
  std::string frame = framed(identifier, {std::string(1, kHostileMark) + "text", "9CMD", "9."});
  frame.resize(random.below(frame.size()));
  return frame;
}

constexpr Attack kAttacks[] = {{"rubbish", rubbish},      {"flood", flood},
                               {"tiny-frame", tinyFrame}, {"empty-frame", emptyFrame},
                               {"any-count", anyCount},   {"limit-message", limitMessage},
                               {"word-mix", wordMix},     {"word-mix", wordMix},
                               {"probes", probes},        {"forged-report", forgedReport},
                               {"unfinished", unfinished}};

}  // namespace

const Attack& anyAttack(simulated::Random& random) {
  return kAttacks[random.below(std::size(kAttacks))];
}

}  // namespace quarnex::simulation
