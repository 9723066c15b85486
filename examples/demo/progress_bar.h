// A line on a terminal that shows how far a piece of work is.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

class ProgressBar {
 public:
  ProgressBar(std::string label, std::size_t total) : m_label(std::move(label)), m_total(total) {}
  ProgressBar(const ProgressBar &) = delete;
  ProgressBar &operator=(const ProgressBar &) = delete;
  ~ProgressBar() { finish(); }

  void advance() {
    const std::size_t percent = 100 * ++m_done / m_total;
    if (!m_onTerminal || percent == m_percent) return;
    m_percent = percent;
    const std::string bar(percent * kWidth / 100, '#');
    std::printf("\r\033[K%s [%-*s] %3zu %%", m_label.c_str(), kWidth, bar.c_str(), percent);
    std::fflush(stdout);
  }

  // Takes the bar off the terminal.
  void finish() {
    if (m_onTerminal && m_done != 0) std::printf("\r\033[K");
    m_done = 0;
  }

 private:
  static constexpr int kWidth = 40;

  const bool m_onTerminal = isatty(STDOUT_FILENO) == 1;
  const std::string m_label;
  const std::size_t m_total;
  std::size_t m_done = 0;
  std::size_t m_percent = 101;  // none drawn yet
};
