#include <signal.h>

#include <algorithm>
#include <deque>

#include "examples/example_fixture.h"

namespace {

constexpr char kOpenJobs[] = "SELECT COUNT(*) FROM jobs";

class JobQueue : public ExampleTest {
 protected:
  Program startWorker(const std::string &name) { return start(ORVDB_JOB_QUEUE, {"work", name}); }

  void addUnannounced(const std::string &task) { admin().query("INSERT INTO jobs (task) VALUES ('" + task + "')"); }
};

Words doneBy(const Program &worker) { return linesOf(worker, "done: "); }

// The words "add", "job 1", "job 2", ...
Words additionOf(int first, int last) {
  Words words{"add"};
  for (int job = first; job <= last; ++job)
    words.push_back("job " + std::to_string(job));
  return words;
}

TEST_F(JobQueue, EachJobIsDoneExactlyOnceByFourWorkers) {
  startServer();
  std::deque<Program> workers;
  for (const char *name : {"one", "two", "three", "four"})
    workers.push_back(startWorker(name));
  Program other = start(ORVDB_JOB_QUEUE, additionOf(1, 100));
  EXPECT_EQ(run(ORVDB_JOB_QUEUE, additionOf(101, 200)), 0);
  EXPECT_EQ(other.waitForExit(), 0) << other.output();
  EXPECT_TRUE(waitForValue(kOpenJobs, "0"));

  Words done;
  for (Program &worker : workers) {
    worker.signal(SIGTERM);
    EXPECT_EQ(worker.waitForExit(), 0) << worker.output();
    const Words jobs = doneBy(worker);
    done.insert(done.end(), jobs.begin(), jobs.end());
  }
  Words expected = additionOf(1, 200);
  expected.erase(expected.begin());
  std::sort(expected.begin(), expected.end());
  std::sort(done.begin(), done.end());
  EXPECT_EQ(done, expected);
}

TEST_F(JobQueue, AnnouncementWakesAWorkerThatWouldNotLookByItself) {
  startServer();
  Program worker = startWorker("one");
  ASSERT_TRUE(waitForRegistrations(1));
  addUnannounced("first");
  EXPECT_EQ(run(ORVDB_JOB_QUEUE, {"add", "second"}), 0);
  EXPECT_TRUE(waitForValue(kOpenJobs, "0"));
  EXPECT_EQ(doneBy(worker), (Words{"first", "second"}));
}

TEST_F(JobQueue, WorkerLooksByItselfWithoutANotificationServerAndRegistersWhenThereIsOne) {
  Program worker = startWorker("one");
  addUnannounced("first");
  EXPECT_TRUE(waitForValue(kOpenJobs, "0"));
  addUnannounced("second");
  EXPECT_TRUE(waitForValue(kOpenJobs, "0"));
  EXPECT_EQ(doneBy(worker), (Words{"first", "second"}));
  startServer();
  EXPECT_TRUE(waitForRegistrations(1));
}

TEST_F(JobQueue, JobOfAWorkerThatWasKilledIsDoneWhenItIsThereAgain) {
  startServer();
  addUnannounced("half done");
  admin().query("UPDATE jobs SET claimed_by='one'");
  Program two = startWorker("two");
  EXPECT_EQ(run(ORVDB_JOB_QUEUE, {"add", "free"}), 0);
  EXPECT_TRUE(waitForValue(kOpenJobs, "1"));
  Program one = startWorker("one");
  EXPECT_TRUE(waitForValue(kOpenJobs, "0"));
  EXPECT_EQ(doneBy(one), (Words{"half done"}));
  EXPECT_EQ(doneBy(two), (Words{"free"}));
}

}  // namespace
