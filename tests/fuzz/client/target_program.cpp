// Lets the fuzzer of numbers ask target_numbers.c, which was built for the target and runs under an emulator.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "fuzz/client/numbers.h"

namespace {

class TargetProgram {
 public:
  TargetProgram() {
    int questions[2];
    int answers[2];
    if (pipe(questions) != 0 || pipe(answers) != 0) throw std::runtime_error("no pipe");
    if (fork() == 0) {
      dup2(questions[0], STDIN_FILENO);
      dup2(answers[1], STDOUT_FILENO);
      close(questions[1]);
      execl(ORVDB_TARGET_EMULATOR, ORVDB_TARGET_EMULATOR, ORVDB_TARGET_NUMBERS, nullptr);
      std::perror(ORVDB_TARGET_EMULATOR);
      _exit(1);
    }
    close(questions[0]);
    close(answers[1]);
    m_questions = fdopen(questions[1], "w");
    m_answers = fdopen(answers[0], "r");
  }

  NumberTexts ask(const std::string &text) {
    for (const char byte : text)
      std::fprintf(m_questions, "%02x", static_cast<unsigned char>(byte));
    std::fputc('\n', m_questions);
    std::fflush(m_questions);
    std::array<char, 256> line{};
    while (std::fgets(line.data(), line.size(), m_answers) == nullptr) {
      // The fuzzer's own alarm may interrupt the wait.
      if (std::ferror(m_answers) == 0 || errno != EINTR) fail();
      std::clearerr(m_answers);
    }
    std::string answer = line.data();
    answer.pop_back();
    return answer;
  }

 private:
  // Not one of the library's faults, which an exception would look like.
  [[noreturn]] static void fail() {
    std::fputs("fuzz_numbers: " ORVDB_TARGET_NUMBERS ", run by " ORVDB_TARGET_EMULATOR ", does not answer\n", stderr);
    std::_Exit(1);
  }

  std::FILE *m_questions;
  std::FILE *m_answers;
};

NumberTexts ask(const std::string &text) {
  static TargetProgram program;
  return program.ask(text);
}

[[maybe_unused]] const bool s_isAsked = (numbersOnTarget = ask, true);

}  // namespace
