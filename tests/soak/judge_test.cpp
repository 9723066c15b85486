// The judge of a soak run finds whatever went wrong: each test alters a good run in one way.
#include <gmock/gmock.h>

#include <functional>
#include <sstream>

#include "soak/judgement.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kLength = 1000;
constexpr int kBetweenSamples = 10;

struct Line {
  int seconds;
  std::string process;
  long resident = 5000;
  long descriptors = 6;
  long threads = 2;
  long heard;
  long told;
  long written;
  long rounds;
  long failed = 0;
};

class Judge : public ::testing::Test {
 protected:
  Judge() {
    for (const auto &[kind, count] : std::initializer_list<std::pair<const char *, int>>{
             {"writer", 5}, {"reader", 8}, {"forker", 3}, {"visitor", 4}}) {
      for (int i = 1; i <= count; ++i)
        addProcess(kind + std::to_string(i));
    }
    addProcess("server");
    addProcess("database");
  }

  // Alters what is said of a process from a moment on.
  void alter(const std::string &process, int from, const std::function<void(Line &)> &change) {
    for (Line &line : lines_) {
      if (line.process == process && line.seconds >= from) change(line);
    }
  }

  void remove(const std::string &process, int from = 0) {
    lines_.erase(std::remove_if(lines_.begin(), lines_.end(),
                                [&](const Line &line) { return line.process == process && line.seconds >= from; }),
                 lines_.end());
  }

  std::vector<std::string> complaints() const {
    std::ostringstream samples;
    samples << "header\n";
    for (const Line &line : lines_) {
      samples << line.seconds << ".5," << line.process << ',' << line.resident << ',' << line.descriptors << ','
              << line.threads << ',' << line.heard << ',' << line.told << ',' << line.written << ",0," << line.rounds
              << ',' << line.failed << '\n';
    }
    std::ostringstream events;
    events << "header\n";
    for (const std::string &event : events_)
      events << "1.5," << event << '\n';
    std::istringstream samplesRead(samples.str());
    std::istringstream eventsRead(events.str());
    std::vector<std::string> complaints;
    for (const Finding &finding : judge(samplesRead, eventsRead)) {
      if (!finding.isGood) complaints.push_back(finding.text);
    }
    return complaints;
  }

  std::vector<Line> lines_;
  std::vector<std::string> events_{
      "server_killed,",        "server_ended,", "database_killed,", "database_ended,", "reader_stopped,reader1",
      "copy_right,reader1; 9", "end,"};

 private:
  void addProcess(const std::string &name) {
    for (int at = 0; at < kLength; at += kBetweenSamples)
      lines_.push_back({at, name, 5000, 6, 2, at, at / 100, at, at});
  }
};

// The one complaint names the process.
#define EXPECT_COMPLAINT(word) EXPECT_THAT(complaints(), ElementsAre(HasSubstr(word)))

TEST_F(Judge, FindsNothingInAGoodRun) { EXPECT_THAT(complaints(), IsEmpty()); }

TEST_F(Judge, AllowsForWhatIsTakenAtTheStart) {
  for (Line &line : lines_)
    if (line.seconds < kLength / 10) line.resident = 1000;
  EXPECT_THAT(complaints(), IsEmpty());
}

TEST_F(Judge, FindsAProcessThatGrows) {
  alter("reader3", 0, [](Line &line) { line.resident += line.seconds; });
  EXPECT_COMPLAINT("reader3");
}

TEST_F(Judge, FindsAServerThatGrows) {
  alter("server", 700, [](Line &line) { line.resident += 1000; });
  EXPECT_COMPLAINT("server");
}

TEST_F(Judge, LetsTheDatabaseServerGrow) {
  alter("database", 700, [](Line &line) { line.resident += 100'000; });
  EXPECT_THAT(complaints(), IsEmpty());
}

TEST_F(Judge, FindsOneMoreDescriptor) {
  alter("writer1", 700, [](Line &line) { ++line.descriptors; });
  EXPECT_COMPLAINT("writer1");
}

TEST_F(Judge, FindsFiveMoreDescriptorsOfTheServer) {
  alter("server", 700, [](Line &line) { line.descriptors += 4; });
  EXPECT_THAT(complaints(), IsEmpty());
  alter("server", 700, [](Line &line) { ++line.descriptors; });
  EXPECT_COMPLAINT("server");
}

TEST_F(Judge, FindsAThreadTooMany) {
  alter("forker1", 700, [](Line &line) { ++line.threads; });
  EXPECT_COMPLAINT("forker1");
}

TEST_F(Judge, FindsAThreadTooFew) {
  alter("reader1", 700, [](Line &line) { --line.threads; });
  EXPECT_COMPLAINT("reader1");
}

TEST_F(Judge, FindsWhoDoesNothingAnyMore) {
  alter("writer2", 600, [](Line &line) { line.written = 600; });
  EXPECT_COMPLAINT("writer2");
}

TEST_F(Judge, FindsWhoHearsNothingAnyMore) {
  alter("reader8", 600, [](Line &line) { line.heard = 600; });
  EXPECT_COMPLAINT("reader8");
}

TEST_F(Judge, FindsWhoForksNoMore) {
  alter("forker3", 600, [](Line &line) { line.rounds = 600; });
  EXPECT_COMPLAINT("forker3");
}

TEST_F(Judge, FindsWhoVisitsNoMore) {
  alter("visitor4", 600, [](Line &line) { line.rounds = 600; });
  EXPECT_COMPLAINT("visitor4");
}

TEST_F(Judge, FindsAChildThatFailed) {
  alter("forker2", 500, [](Line &line) { line.failed = 1; });
  EXPECT_COMPLAINT("forker2");
}

TEST_F(Judge, FindsAProcessThatIsGone) {
  remove("reader5", 700);
  EXPECT_COMPLAINT("reader5");
}

TEST_F(Judge, FindsTooFewProcesses) {
  for (const char *process : {"reader1", "reader2", "reader3"})
    remove(process);
  EXPECT_COMPLAINT("19 processes");
}

TEST_F(Judge, FindsThatNobodyWasToldOfGaps) {
  for (Line &line : lines_)
    line.told = 0;
  EXPECT_COMPLAINT("gaps told: 0");
}

TEST_F(Judge, FindsAWrongCopy) {
  events_.insert(events_.begin(), "copy_wrong,reader1; 9");
  EXPECT_COMPLAINT("1 wrong");
}

TEST_F(Judge, FindsThatNoCopyWasCompared) {
  events_.erase(events_.end() - 2);
  EXPECT_COMPLAINT("0 right");
}

TEST_F(Judge, FindsAnUnplannedEnd) {
  events_.insert(events_.begin(), "unplanned_end,writer1 with status 139");
  EXPECT_COMPLAINT("unplanned: 1");
}

TEST_F(Judge, FindsARunThatWasCutShort) {
  events_.pop_back();
  EXPECT_COMPLAINT("came to its end");
}

TEST_F(Judge, FindsThatNothingWasDisturbed) {
  for (int i = 0; i < 5; ++i) {
    const std::string event = events_.front();
    events_.erase(events_.begin());
    EXPECT_THAT(complaints(), ElementsAre(HasSubstr(event.substr(0, event.find(',')))));
    events_.insert(events_.end() - 1, event);
  }
}

}  // namespace
