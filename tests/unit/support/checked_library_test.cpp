// The standard library ends a program that breaks its rules, in the builds that are for finding faults.
#include <gtest/gtest.h>

#include <optional>
#include <string_view>
#include <vector>

namespace {

// Each stays within memory that the program owns, so that nothing but the library's own check can notice it.

TEST(CheckedLibraryDeathTest, RefusesAnIndexBehindTheEndOfAVector) {
  std::vector<int> numbers(2);
  numbers.resize(1);
  const std::size_t behind = numbers.size();
  EXPECT_DEATH(numbers[behind] = 1, "Assertion '__n < this->size\\(\\)' failed");
}

TEST(CheckedLibraryDeathTest, RefusesAnIndexBehindTheEndOfAText) {
  const std::string_view text = std::string_view("two").substr(0, 1);
  const std::size_t behind = text.size();
  EXPECT_DEATH(static_cast<void>(text[behind]), "Assertion '__pos < this->_M_len' failed");
}

TEST(CheckedLibraryDeathTest, RefusesTheValueOfAnEmptyOptional) {
  const std::optional<int> nothing;
  EXPECT_DEATH(static_cast<void>(*nothing), "Assertion 'this->_M_is_engaged\\(\\)' failed");
}

}  // namespace
