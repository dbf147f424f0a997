#pragma once

#include <deque>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "tests/system/exerciser/Action.h"

namespace zelto::test {

// Random actions, the same for the same seed: single ones, and sequences as programs carry them out.
class ActionSource {
 public:
  explicit ActionSource(unsigned seed) : random_(seed) {}

  // Looks what there is below a folder: most actions are about something that is there.
  void look(const std::filesystem::path& top);
  Action next();

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
  bool oneIn(unsigned count) { return below(count) == 0; }
  std::string anyPath();

 private:
  Action single();
  Action make(Verb verb);
  void shape(Action& action);
  void planSequence();
  void saveByRenaming();
  void saveWithBackup();
  void exchange();
  void makeTree();
  void removeTree();
  void moveTreeWhileWriting();

  void plan(Verb verb, const std::string& path, const std::string& other = {}, int flags = 0);
  std::string anyOf(const std::vector<std::string>& paths) {
    return paths.at(below(static_cast<unsigned>(paths.size())));
  }
  std::string freshPath();
  std::string freshName();

  std::mt19937 random_;
  std::vector<std::string> files_, folders_, all_;
  std::deque<Action> planned_;
  unsigned stamp_ = 0;
};

}  // namespace zelto::test
