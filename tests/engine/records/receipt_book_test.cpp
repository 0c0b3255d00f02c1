// Tests the decisions about texts whose acknowledgement is in doubt when a later batch ends.
#include "engine/records/receipt_book.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace quarnex {
namespace {

struct Decisions final : DecisionSink {
  void decided(const Receipt& receipt) override {
    all.push_back(std::to_string(receipt.from) + '-' + std::to_string(receipt.to) + ' ' +
                  nameOf(receipt.outcome));
  }
  std::vector<std::string> all;
};

// A client whose first data frame has no acknowledgement, so that of the next batch is in doubt.
struct DoubtfulBook {
  DoubtfulBook() {
    tally.begin();
    tally.sendsData(true);
    for (int i = 0; i < 2; ++i) book.accept();
    runBatch(1, 0, true);
  }
  void runBatch(std::size_t texts, std::uint32_t spoilt, bool leaves) {
    book.prepare(texts, spoilt);
    if (leaves) {
      tally.sendsData(true);
      book.sent(true, tally);
    }
    tally.acknowledges(true);
    book.acknowledged(tally, 100, decisions);
  }

  ReceiptBook book;
  AckTally tally;
  Decisions decisions;
};

TEST(ReceiptBook, EndsTheDoubtBeforeALaterBatchIsDecided) {
  const struct {
    bool leaves;
    std::uint32_t spoilt;
    std::vector<std::string> decided;
  } rows[] = {
      {false, 0, {"1-1 unknown", "2-2 dropped"}}, {true, 1, {"1-1 unknown", "2-2 unknown"}}, {true, 0, {}}};
  for (const auto& row : rows) {
    DoubtfulBook each;
    EXPECT_THAT(each.decisions.all, testing::IsEmpty());
    EXPECT_EQ(each.book.decidedUpTo(), 0U);
    each.runBatch(1, row.spoilt, row.leaves);
    EXPECT_EQ(each.decisions.all, row.decided);
  }
}

// More rounds than the tally can count.
TEST(AckTally, ProvesAgainAfterEachRound) {
  AckTally client, server, acknowledged;
  for (int round = 0; round < 70'000; ++round) {
    client.sendsData(true);
    client.sendsWords(true, true);
    ASSERT_TRUE(client.answersQuery()) << round;
    server.sendsData(false);
    bool proved = false;
    for (int query = 0; query < 15; ++query) proved = server.queries();
    ASSERT_TRUE(proved) << round;
    acknowledged.sendsData(true);
    acknowledged.acknowledges(true);
    ASSERT_TRUE(acknowledged.allAcknowledged()) << round;
  }
}

TEST(AckTally, StaysAtItsLimit) {
  AckTally tally;
  for (int frame = 0; frame < 70'000; ++frame) tally.sendsData(true);
  EXPECT_EQ(tally.frames(), 65'535U);
  tally.acknowledges(true);
  EXPECT_EQ(tally.acks(), 0U);
  for (int query = 0; query < 70'000; ++query) tally.sendsWords(true, true);
  tally.answersQuery();
  EXPECT_FALSE(tally.allAcknowledged());
}

TEST(ReceiptBook, EndsADoubtBeforeABatchThatDoesNotFollowIt) {
  DoubtfulBook each;
  each.book.dropOldest(ReceiptCause::QueueFull, each.decisions);
  each.book.dropOldest(ReceiptCause::QueueFull, each.decisions);  // nothing is left
  each.book.accept();
  each.runBatch(1, 0, true);
  EXPECT_THAT(each.decisions.all, testing::ElementsAre("2-2 dropped", "1-1 unknown"));
}

TEST(ReceiptBook, EndsADoubtAfterAMinute) {
  DoubtfulBook each;
  each.book.settleOld(each.tally, 160, each.decisions);
  EXPECT_THAT(each.decisions.all, testing::IsEmpty());
  each.book.settleOld(each.tally, 161, each.decisions);
  EXPECT_THAT(each.decisions.all, testing::ElementsAre("1-1 unknown"));
}

}  // namespace
}  // namespace quarnex
