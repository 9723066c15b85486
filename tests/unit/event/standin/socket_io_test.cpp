// Reading and writing where the system does only part of it, fails, or is interrupted.
#include <memory>
#include <numeric>

#include "event_mgr_access.h"
#include "event_support.h"
#include "standin/stand_ins.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What a call is to do: that many bytes, or fail with an error that is given as a negative number, or stop the client
// after that many bytes.
struct Step {
  int result;
  bool stopAfter = false;
};

// On a socket pair, with a client that counts as running without a message thread.
class SocketIo : public ::testing::Test {
 protected:
  SocketIo() {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    here_ = UniqueFd(ends[0]);
    there_ = UniqueFd(ends[1]);
    std::iota(sent_.begin(), sent_.end(), static_cast<unsigned char>(1));
    EventMgr::setRunning(true);
  }
  ~SocketIo() override {
    EventMgr::setRunning(false);
    standIns.write.end();
    standIns.read.end();
  }

  // Each step is one call; behind the last one every further call is a failure of the test.
  template <class Bytes, class RealCall>
  auto script(std::vector<Step> steps, RealCall real) {
    return [this, steps, real](int fd, Bytes bytes, size_t length) -> ssize_t {
      if (calls_ == steps.size()) {
        ADD_FAILURE() << "one call too many";
        return failWith(EIO);
      }
      const Step step = steps[calls_++];
      if (step.stopAfter) EventMgr::setRunning(false);
      if (step.result < 0) return failWith(-step.result);
      return real(fd, bytes, std::min(length, static_cast<size_t>(step.result)));
    };
  }
  int sendWith(const std::vector<Step> &steps, int length = 141) {
    standIns.write.play(script<const void *>(steps, __real_write));
    const int result = EventMgr::doSendMsg(here_.get(), sent_.data(), length);
    EXPECT_EQ(calls_, steps.size());
    return result;
  }
  int receiveWith(const std::vector<Step> &steps, int length = 141) {
    standIns.read.play(script<void *>(steps, __real_read));
    const int result = EventMgr::doRecvMsg(here_.get(), received_.data(), length);
    EXPECT_EQ(calls_, steps.size());
    return result;
  }

  // What has gone out of here.
  std::vector<unsigned char> arrived() {
    std::vector<unsigned char> bytes(1000);
    const ssize_t length = recv(there_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    return bytes;
  }
  std::vector<unsigned char> begin(std::size_t length) const {
    return {sent_.begin(), sent_.begin() + static_cast<std::ptrdiff_t>(length)};
  }
  void letArrive(std::size_t length) {
    ASSERT_EQ(send(there_.get(), sent_.data(), length, 0), static_cast<int>(length));
  }

  UniqueFd here_;
  UniqueFd there_;
  RecordBytes sent_{};
  RecordBytes received_{};
  std::size_t calls_ = 0;
};

TEST_F(SocketIo, SendingGoesOnAfterAShortWriteAndAfterAnInterruption) {
  EXPECT_EQ(sendWith({{50}, {-EINTR}, {1}, {90}}), 141);
  EXPECT_EQ(arrived(), begin(141));
}

TEST_F(SocketIo, SendingThatFailsInTheMiddleGivesTheCountOfBytes) {
  EXPECT_EQ(sendWith({{50}, {-EPIPE}}), 50);
  EXPECT_EQ(arrived(), begin(50));
}

TEST_F(SocketIo, SendingThatFailsAtOnceGives0) { EXPECT_EQ(sendWith({{-EAGAIN}}), 0); }

TEST_F(SocketIo, WriteOfNothingEndsSending) { EXPECT_EQ(sendWith({{20}, {0}}), 20); }

TEST_F(SocketIo, SendingEndsWhenTheClientIsStopped) {
  EXPECT_EQ(sendWith({{50}, {50, true}}), 100);
  EXPECT_EQ(arrived(), begin(100));
}

TEST_F(SocketIo, InterruptionThatStopsTheClientEndsSending) { EXPECT_EQ(sendWith({{50}, {-EINTR, true}}), 50); }

TEST_F(SocketIo, LengthBelow1SendsNothing) {
  EXPECT_EQ(sendWith({}, 0), 0);
  EXPECT_EQ(sendWith({}, -5), 0);
}

TEST_F(SocketIo, StoppedClientSendsAndReceivesNothing) {
  EventMgr::setRunning(false);
  letArrive(141);
  EXPECT_EQ(sendWith({}), 0);
  EXPECT_EQ(receiveWith({}), 0);
  EXPECT_THAT(arrived(), IsEmpty());
}

TEST_F(SocketIo, ReceivingGoesOnAfterAShortReadAndAfterAnInterruption) {
  letArrive(141);
  EXPECT_EQ(receiveWith({{50}, {-EINTR}, {1}, {90}}), 141);
  EXPECT_EQ(received_, sent_);
}

// Unlike sending.
TEST_F(SocketIo, ReceivingThatFailsInTheMiddleGivesMinus1) {
  letArrive(50);
  EXPECT_EQ(receiveWith({{50}, {-ECONNRESET}}), -1);
}

TEST_F(SocketIo, EndOfStreamInTheMiddleGivesTheCountOfBytes) {
  letArrive(50);
  there_.reset();
  EXPECT_EQ(receiveWith({{141}, {141}}), 50);
}

TEST_F(SocketIo, ReceivingEndsWhenTheClientIsStopped) {
  letArrive(141);
  EXPECT_EQ(receiveWith({{50}, {50, true}}), 100);
}

TEST_F(SocketIo, WithoutASocketBothGiveMinus1) {
  EXPECT_EQ(EventMgr::sendMessage(sent_.data(), 141), -1);
  EXPECT_EQ(EventMgr::recvMessage(received_.data(), 141), -1);
}

using RecordWrittenInPart = NotificationClient;

TEST_F(RecordWrittenInPart, MakesEveryFunctionReturn13) {
  ASSERT_EQ(registerItems(3, f), 0);
  const std::vector<RegistryEntry> before = EventMgr::registry();
  const auto calls = std::make_shared<std::atomic<int>>(0);
  standIns.write.play(
      [calls](int, const void *, size_t) -> ssize_t { return ++*calls % 2 == 1 ? 140 : failWith(EIO); });
  EXPECT_EQ(notifyItems(), 13);
  EXPECT_EQ(registerItems(4, g), 13);
  EXPECT_EQ(EventMgr::acknowledgement(), EventMgr::kWaiting);
  EXPECT_EQ(EventMgr::registry(), before);
  EXPECT_EQ(cancelItems(1), 13);
  EXPECT_EQ(EventMgr::registry().back().actions, 2);
  EXPECT_EQ(*calls, 6);
  standIns.write.end();  // the message thread still has to report its end
}

}  // namespace
