#include "fuzz/corpus_test.h"

namespace {

TEST(FuzzCorpus, EveryStreamKeepsThePromises) { playAll("stream", playStream); }

TEST(FuzzCorpus, EverySequenceOfEventsKeepsThePromises) { playAll("events", playEvents); }

}  // namespace
