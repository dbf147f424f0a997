#include "hostapp/HostStore.h"

namespace zelto {

namespace {

// '0' follows '/': everything that begins with "path/".
constexpr const char* kAtOrBelow = "path=?1 OR (path>?1||'/' AND path<?1||'0')";

}  // namespace

CustomFields HostStore::fields(const std::string& path) {
  const std::lock_guard lock(mutex_);
  CustomFields found;
  auto query = database_.prepare("SELECT name,value FROM fields WHERE path=?");
  query.bind(1, path);
  while (query.step()) found.emplace(query.bytes(0), query.bytes(1));
  return found;
}

void HostStore::setField(const std::string& path, const std::string& name, const std::string& value) {
  const std::lock_guard lock(mutex_);
  if (value.empty()) {
    note(database_.prepare("DELETE FROM fields WHERE path=? AND name=?").bind(1, path).bind(2, name).run());
    return;
  }
  note(database_.prepare("INSERT OR REPLACE INTO fields VALUES(?,?,?)")
           .bind(1, path)
           .bind(2, name)
           .bind(3, value)
           .run());
}

void HostStore::moveFields(const std::string& from, const std::string& to) {
  removeFields(to);
  const std::lock_guard lock(mutex_);
  const auto sql = std::string("UPDATE fields SET path=?2||substr(path,length(?1)+1) WHERE ") + kAtOrBelow;
  note(database_.prepare(sql).bind(1, from).bind(2, to).run());
}

void HostStore::removeFields(const std::string& path) {
  const std::lock_guard lock(mutex_);
  note(database_.prepare(std::string("DELETE FROM fields WHERE ") + kAtOrBelow).bind(1, path).run());
}

}  // namespace zelto
