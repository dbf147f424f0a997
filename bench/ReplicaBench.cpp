// Measures what the replica promises of speed and memory. Usage: replica_bench [directory]
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <malloc.h>
#include <stdlib.h>
#include <unistd.h>

#include "framework/replica/Replica.h"
#include "tests/replica/FakeItem.h"

namespace zelto {
namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::time_point since) {
  return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

double residentMiB() {
  ::malloc_trim(0);
  long total = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1048576.0;
}

template <typename Work>
double timed(const char* what, const Work& work) {
  const auto start = Clock::now();
  work();
  const double spent = milliseconds(start);
  std::printf("%-52s %9.2f ms\n", what, spent);
  return spent;
}

std::unique_ptr<Replica> opened(const std::string& directory) {
  auto replica = Replica::open(directory);
  if (!replica) std::fprintf(stderr, "%s\n", replica.error().localizedDescription().c_str()), std::exit(1);
  return std::move(*replica);
}

void lookUp(Replica& replica, const std::string& folder, int count) {
  const Inode parent = replica.inodeForRelativePath(folder).value_or(0);
  std::mt19937 random(1);
  std::vector<std::string> names;
  for (int i = 0; i < 200000; ++i) {
    names.push_back("some document " + std::to_string(random() % static_cast<unsigned>(count)));
  }
  std::uint64_t sum = 0;
  auto start = Clock::now();
  for (const std::string& name : names) sum += replica.lookup(parent, name).node.inode;
  std::printf("%-52s %9.0f ns\n", "lookup, random", milliseconds(start) * 1e6 / 200000.0);
  start = Clock::now();
  for (std::size_t i = 0; i < names.size(); ++i) sum += replica.lookup(parent, names[i % 1000]).node.inode;
  std::printf("%-52s %9.0f ns\n", "lookup, the same thousand", milliseconds(start) * 1e6 / 200000.0);
  const auto children = *replica.children(parent);
  start = Clock::now();
  for (int i = 0; i < 200000; ++i) sum += replica.node(children[random() % children.size()])->size;
  std::printf("%-52s %9.0f ns   (%llu)\n", "node, random", milliseconds(start) * 1e6 / 200000.0,
              static_cast<unsigned long long>(sum));
}

void visitAll(Replica& replica, const std::string& folder) {
  const Inode inode = replica.inodeForRelativePath(folder).value_or(0);
  const auto children = replica.children(inode);
  std::size_t bytes = 0;
  timed("visit 100,000", [&] {
    replica.visit(inode, *children, 0, [&](std::size_t, const NodeInfo&, std::string_view name) {
      bytes += name.size();
      return true;
    });
  });
}

// Versions and all else as they come from a host: a date that differs from item to item.
Items manyItems() {
  auto items = fakeFiles("/large", "some document ", 100000);
  std::uint64_t stamp = 0;
  for (auto& item : items) static_cast<FakeItem&>(*item).stampField = ++stamp * 7919;
  return items;
}

void learn(const std::string& directory) {
  const double before = residentMiB();
  auto large = manyItems(), small = fakeFiles("/small", "some document ", 10000);
  auto replica = opened(directory);
  replica->applyListing(kRootInode, {fakeFolder("", "large"), fakeFolder("", "small")});
  const Inode folder = replica->inodeForRelativePath("large").value_or(0);
  timed("applyListing of 100,000 new items", [&] { replica->applyListing(folder, large); });
  timed("  written behind", [&] { replica->flush(); });
  timed("applyListing of the same again", [&] { replica->applyListing(folder, large); });
  replica->applyListing(replica->inodeForRelativePath("small").value_or(0), small);
  replica->flush();
  large.clear(), large.shrink_to_fit(), small.clear();
  lookUp(*replica, "large", 100000);
  visitAll(*replica, "large");
  std::printf("%-52s %9.2f MiB\n", "memory with 110,000 nodes", residentMiB() - before);
  timed("end", [&] { replica.reset(); });
}

void load(const std::string& directory) {
  std::unique_ptr<Replica> replica;
  const double before = residentMiB();
  timed("open with 110,000 items", [&] { replica = opened(directory); });
  const Inode small = replica->inodeForRelativePath("small").value_or(0);
  timed("load a folder of 10,000", [&] { replica->lookup(small, "x"); });
  const Inode large = replica->inodeForRelativePath("large").value_or(0);
  timed("load a folder of 100,000", [&] { replica->lookup(large, "x"); });
  timed("its children's numbers", [&] { replica->children(large); });
  std::printf("%-52s %9.2f MiB\n", "memory with 110,000 nodes loaded", residentMiB() - before);
  timed("remove a folder of 100,000", [&] { replica->applyChanges({}, {"/large"}); });
  timed("  written behind", [&] { replica->flush(); });
}

}  // namespace
}  // namespace zelto

int main(int count, char** arguments) {
  std::string directory = count > 1 ? arguments[1] : "";
  if (directory.empty()) {
    std::string pattern = (std::filesystem::temp_directory_path() / "replica-bench-XXXXXX").string();
    directory = ::mkdtemp(pattern.data());
  }
  zelto::learn(directory + "/replica");
  zelto::load(directory + "/replica");
  std::filesystem::remove_all(directory);
}
