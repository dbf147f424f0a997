#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/framework/PropagationFixture.h"

namespace zelto::test {

// A program here and somebody else on the server, at work on the same few names, in an order that a seed
// chooses: changes are sent, answers come late or never, listings and change lists arrive sooner or later. No
// text is written twice. One may vanish only when a writer who had seen it replaced or removed it: the
// program has seen what it wrote and what a listing or download has brought here; the other one sees all that
// is on the server. Nothing is sent but by `sendNow`, so that a seed gives the same schedule again.
class TwoWriters final : public PropagationFixture {
 public:
  // With `sameSizes` all texts are equally long.
  TwoWriters(unsigned seed, bool sameSizes);

  // The whole schedule, until everything is sent and listed, and the verdict.
  void run(unsigned operations);
  // What was done, a line each.
  const Lines& story() const { return story_; }
  Tree left() { return server.tree(); }

  void TestBody() override {}

 private:
  struct Handle {
    std::shared_ptr<ContentFile> file;
    bool unlinked = false;  // what is written goes nowhere
  };
  struct Answer {
    Inode folder;  // 0: a change list
    std::vector<NSFileProviderItemPtr> items;
    std::vector<std::string> deletions;
    Asked asked;
  };

  std::size_t below(std::size_t count) { return random_() % count; }
  bool chance(unsigned percent) { return below(100) < percent; }
  template <typename Value>
  const Value& oneOf(const std::vector<Value>& values) {
    return values[below(values.size())];
  }
  void note(const std::string& line) { story_.push_back(line); }
  std::string newText(const std::string& writer);
  std::string someName(bool folder);

  // ---- the program here
  std::vector<std::string> here(NodeKind kind);
  void hereBelow(const std::string& path, NodeKind kind, std::vector<std::string>& paths);
  std::string newPlaceHere(bool folder);
  void operateHere();
  // What a program that now replaces or removes a file knows of it.
  std::set<std::string> seenIn(Inode inode);
  void forget(const std::set<std::string>& texts) { replaced_.insert(texts.begin(), texts.end()); }
  void openHere(const std::string& path);
  void writeOpen();
  void closeOne();
  void closeAll();
  void saveHere(const std::string& path);
  void appendHere(const std::string& path);
  void renameHere(const std::string& from, const std::string& to);
  void removeHere(const std::string& path);
  void removeTreeHere(const std::string& path);
  void put(Handle& handle, const std::string& text);
  bool download(Inode inode);
  void unlinkHandles(Inode inode);

  // ---- the other writer
  void operateThere();
  std::vector<std::string> there(bool folders);
  void putThere(const std::string& path);
  void eraseThere(const std::string& path);
  void renameThere(const std::string& from, const std::string& to);
  void noteVersions();

  // ---- what lies between them
  Fate decide(const std::string& request);
  void sendNow();
  void letSettle();
  void release();
  void retry();
  void loseHost();
  void askForListing();
  void askForChanges();
  void arrive();
  void take(const Answer& answer);

  // ---- the end
  void bringToRest();
  void listAll(Inode folder);
  void expectNothingLost();
  void expectTold();
  void expectSame();
  void expectSameFile(const std::string& path, Inode inode, const std::string& content);

  const unsigned seed_;
  const bool sameSizes_;
  std::mt19937 random_;
  Lines story_;
  std::size_t noted_ = 0;  // of the server's changes
  unsigned texts_ = 0;
  std::set<std::string> written_, replaced_;
  std::map<Inode, std::string> mine_;            // the text last written here
  std::map<std::string, std::string> versions_;  // the texts of the server's versions
  std::map<std::string, NSFileProviderItemPtr> lastTold_;
  std::vector<Handle> handles_;
  std::map<Inode, Answer> answers_;  // under way; by the folder, at most one for each
  std::mutex fatesMutex_;
  std::map<std::string, unsigned> requests_;  // guarded
  unsigned requestCount_ = 0;                 // likewise
  bool smooth_ = false;                       // likewise: every request is carried out
};

}  // namespace zelto::test
