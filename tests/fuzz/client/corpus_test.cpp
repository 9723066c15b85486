#include "fuzz/corpus_test.h"

namespace {

TEST(FuzzCorpus, EveryChangeReceivedReachesItsCallbackAlone) { playAll("receive", playReceive); }

TEST(FuzzCorpus, EveryLiteralIsThatOfTheModel) { playAll("literals", playLiterals); }

TEST(FuzzCorpus, EveryValueIsBoundAsItIsAndStandsInNoStatement) { playAll("parameters", playParameters); }

TEST(FuzzCorpus, EveryTextIsTheNumbersOfAMachineOf32Bits) { playAll("numbers", playNumbers); }

}  // namespace
