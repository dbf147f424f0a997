#include "framework/replica/NameArena.h"

#include <cstring>

namespace zelto {

char* NameArena::take(std::size_t bytes) {
  if (used_ + bytes > kBlock) {
    blocks_.push_back(std::make_unique_for_overwrite<char[]>(kBlock));
    used_ = 0;
  }
  char* place = blocks_.back().get() + used_;
  used_ += bytes;
  return place;
}

const char* NameArena::store(std::string_view name) {
  if (name.empty()) return "";
  char*& head = free_[steps(name.size())];
  char* place = head;
  if (place != nullptr) {
    std::memcpy(&head, place, sizeof head);
  } else {
    place = take(steps(name.size()) * 8);
  }
  std::memcpy(place, name.data(), name.size());
  return place;
}

void NameArena::release(std::string_view stored) {
  if (stored.empty()) return;
  char* place = const_cast<char*>(stored.data());
  char*& head = free_[steps(stored.size())];
  std::memcpy(place, &head, sizeof head);
  head = place;
}

}  // namespace zelto
