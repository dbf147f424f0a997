#pragma once

#include <cstdint>
#include <string>

namespace zelto::cli {

// The bar of `width` columns for a part of a whole; full when the whole is nothing.
std::string progressBar(std::uint64_t completed, std::uint64_t total, std::size_t width);

// Shows how far something is: a bar that moves on a terminal, else one line when it is finished.
class ProgressBar {
 public:
  explicit ProgressBar(std::string title);
  // Takes the unfinished bar away.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void show(std::uint64_t completed, std::uint64_t total);
  // Another text behind the bar than the whole and the title.
  void showText(std::uint64_t completed, std::uint64_t total, const std::string& text);
  void clear();
  void finish(std::uint64_t total);

 private:
  std::string title_;
  bool terminal_;
  bool shown_ = false;
};

}  // namespace zelto::cli
