// Those who ask for a status page and do not read it, without the time that a real report takes to make.
#include "status_page.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <limits>
#include <list>
#include <string>

#include "support/temporary_folder.h"
#include "support/unique_fd.h"
#include "support/wait.h"

namespace {

constexpr std::size_t kMostReaders = 16;
constexpr std::size_t kDocumentSize = std::size_t{1} << 22;  // more than a socket holds
constexpr std::size_t kOpen = std::numeric_limits<std::size_t>::max();

class StatusPageReaders : public testing::Test {
 protected:
  UniqueFd connectReader() {
    UniqueFd reader(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(connect(reader.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    page_.serve();
    return reader;
  }

  void openReaders(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
      readers_.push_back(connectReader());
  }

  // How much of the document there is by now to one that takes `most` bytes; kOpen if there may be more to come.
  static std::size_t take(const UniqueFd &reader, std::size_t most) {
    std::string bytes(most, '\0');
    const ssize_t count = recv(reader.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    return count < 0 ? kOpen : static_cast<std::size_t>(count);
  }

  // As often as the page is served meanwhile; the size of what came before the end.
  std::size_t takeAll(const UniqueFd &reader) {
    std::size_t size = 0;
    EXPECT_TRUE(waitUntil([&] {
      page_.serve();
      const std::size_t taken = take(reader, kDocumentSize);
      if (taken != kOpen) size += taken;
      return taken == 0;
    }));
    return size;
  }

  bool isAnswered() { return takeAll(connectReader()) == kDocumentSize; }

  const TemporaryFolder folder_;
  const std::string path_ = folder_.path() / "status.sock";
  StatusPage page_{path_, 0600, [] { return std::string(kDocumentSize, 'x'); }};
  std::list<UniqueFd> readers_;
};

TEST_F(StatusPageReaders, SeventeenthIsClosedWithoutAnAnswerUntilAnotherHasReadItsOwn) {
  openReaders(kMostReaders);
  EXPECT_EQ(takeAll(connectReader()), 0U);
  EXPECT_EQ(takeAll(readers_.front()), kDocumentSize);
  EXPECT_TRUE(isAnswered());
}

TEST_F(StatusPageReaders, OneThatGoesAwayMakesRoom) {
  openReaders(kMostReaders);
  EXPECT_EQ(takeAll(connectReader()), 0U);
  readers_.pop_front();
  page_.serve();
  EXPECT_TRUE(isAnswered());
}

TEST_F(StatusPageReaders, OneThatNeverReadsIsEndedAndMakesRoom) {
  constexpr std::chrono::seconds kPagesPatience{10};
  const auto begin = std::chrono::steady_clock::now();
  openReaders(kMostReaders);
  ASSERT_EQ(takeAll(connectReader()), 0U);
  EXPECT_TRUE(waitUntil([&] {
    page_.tick();
    return isAnswered();
  }));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, kPagesPatience);
  EXPECT_LT(takeAll(readers_.front()), kDocumentSize) << "it has its beginning alone, and its end";
}

}  // namespace
