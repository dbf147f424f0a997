#include "cli/ProgressBar.h"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>
#include <unistd.h>

#include "cli/Text.h"

namespace zelto::cli {

namespace {

constexpr std::size_t kWidth = 30;

}  // namespace

std::string progressBar(std::uint64_t completed, std::uint64_t total, std::size_t width) {
  const double part =
      total == 0 ? 1 : std::min(1.0, static_cast<double>(completed) / static_cast<double>(total));
  const auto filled = static_cast<std::size_t>(part * static_cast<double>(width));
  return fmt::format("[{}{}] {:3.0f} %", std::string(filled, '#'), std::string(width - filled, '.'),
                     part * 100);
}

ProgressBar::ProgressBar(std::string title)
    : title_(std::move(title)), terminal_(::isatty(STDOUT_FILENO) != 0) {}

ProgressBar::~ProgressBar() { clear(); }

void ProgressBar::clear() {
  if (!shown_) return;
  fmt::print("\r\x1b[K");
  std::fflush(stdout);
  shown_ = false;
}

void ProgressBar::show(std::uint64_t completed, std::uint64_t total) {
  showText(completed, total, fmt::format("{}  {}", byteCount(total), title_));
}

void ProgressBar::showText(std::uint64_t completed, std::uint64_t total, const std::string& text) {
  if (!terminal_) return;
  shown_ = true;
  fmt::print("\r\x1b[K{} {}", progressBar(completed, total, kWidth), text);
  std::fflush(stdout);
}

void ProgressBar::finish(std::uint64_t total) {
  fmt::print("{}{}  {}\n", shown_ ? "\r\x1b[K" : "", title_, byteCount(total));
  std::fflush(stdout);
  shown_ = false;
}

}  // namespace zelto::cli
