#include "engine/exchange/frame.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/exchange/receiving.h"

namespace quarnex {
namespace {

TEST(Frame, CarriesTheChecksumCharacters) {
  const struct {
    const char* message;
    const char* checksum;
  } rows[] = {{"0000052|9QRY|9.|", "CO"},       {"0000052|9ACK|9.|", "BL"},
              {"0000053|9ACK|9QRY|9.|", "CB"},  {"0000052|9NODATA|9.|", "GD"},
              {"0000053|HELLO|9CMD|9.|", "A@"}, {"", "@@"}};
  for (const auto& row : rows) {
    std::string frame;
    makeFrame(frame, row.message);
    EXPECT_EQ(frame, std::string("\2") + "9999" + row.message + row.checksum + "\3");
    EXPECT_TRUE(checksumHolds(frame));
    for (std::size_t i = 1; i + 1 < frame.size(); ++i) {
      std::string damaged = frame;
      damaged[i] = static_cast<char>(damaged[i] ^ 0x80);
      EXPECT_FALSE(checksumHolds(damaged)) << i;
    }
  }
  for (const char* shortFrame : {"\2\3", "\2@\3"}) EXPECT_FALSE(checksumHolds(shortFrame));
  EXPECT_TRUE(checksumHolds("\2@@\3"));
}

TEST(Frame, ShowsBytesInHexadecimal) {
  EXPECT_EQ(HexDump(std::string("\0\xff", 2)), " 00 FF");
}

// The rules of the receive step, applied to one character at a time.
struct PlainReceiver {
  std::string received, frame, complete;
  bool inFrame = false, done = false;

  void step() {
    char c = 0;
    while (!received.empty() && c != kEtx) {
      c = received[0];
      received.erase(0, 1);
      if (!inFrame && c == kStx) {
        frame.clear();
        inFrame = true;
      }
      if (inFrame) frame += c;
    }
    done = c == kEtx && inFrame;
    if (!done) return;
    complete = frame;
    inFrame = false;
  }
};

void expectSameFrames(const std::string& first, const std::string& second) {
  ConnectionRecord record;
  PlainReceiver plain;
  for (const std::string& part : {first, second, std::string(), std::string(), std::string()}) {
    record.Ricevuto.append(part);
    plain.received += part;
    cutFrame(record);
    plain.step();
    ASSERT_EQ(record.FrameCompleto, plain.done);
    ASSERT_EQ(record.InFrame, plain.inFrame);
    ASSERT_EQ(record.Ricevuto.text(), plain.received);
    ASSERT_EQ(record.FrameRicevuto, plain.complete);
    ASSERT_EQ(record.FrameInCorso.text(), plain.inFrame ? plain.frame : "");
    record.FrameCompleto = false;
  }
}

TEST(Receiving, CutsEveryShortStreamIntoFramesAsThePlainRulesRequire) {
  const std::string alphabet = {kStx, kEtx, 'a', '\xff'};
  for (std::size_t length = 0; length <= 6; ++length) {
    const std::size_t streams = std::size_t{1} << (2 * length);
    for (std::size_t number = 0; number < streams; ++number) {
      std::string stream;
      for (std::size_t place = 0; place < length; ++place) stream += alphabet[number >> (2 * place) & 3];
      for (std::size_t cut = 0; cut <= length; ++cut)
        expectSameFrames(stream.substr(0, cut), stream.substr(cut));
    }
  }
}

TEST(Receiving, KeepsABacklogInOrderAcrossItsChunks) {
  ByteQueue queue;
  std::string whole;
  for (int i = 0; i < 3'000; ++i) {
    const std::string part = std::to_string(i) + std::string(static_cast<std::size_t>(i % 97), '.');
    queue.append(part);
    whole += part;
  }
  ASSERT_EQ(queue.size(), whole.size());
  ASSERT_EQ(queue.text(), whole);
  std::string taken;
  for (std::size_t count = 1; !queue.empty(); count = count % 1000 + 7) {
    const std::string_view front = queue.front().substr(0, count);
    taken += front;
    queue.consume(front.size());
  }
  EXPECT_EQ(taken, whole);
  queue.consume(1);
  EXPECT_EQ(queue.front(), "");
  EXPECT_EQ(queue.size(), 0U);
  // Two chunks; as many bytes leave as the second holds.
  queue.append(std::string(std::size_t{64} * 1024 + 3, 'x'));
  queue.consume(3);
  EXPECT_EQ(queue.size(), 64U * 1024U);
}

}  // namespace
}  // namespace quarnex
