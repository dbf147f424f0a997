#pragma once

#include <functional>
#include <memory>
#include <string>

namespace zelto {

// Machine-local broadcast among one user's processes, over the session bus. With no bus, posting does
// nothing and observers hear nothing.
// THREAD: any.
class NSDistributedNotificationCenter {
 public:
  static NSDistributedNotificationCenter& defaultCenter();
  virtual ~NSDistributedNotificationCenter() = default;

  // Delivers at once. Returns before anybody has received it.
  virtual void postNotification(const std::string& name, const std::string& object) = 0;

  // The observer runs on the centre's thread until the returned handle is dropped.
  virtual std::shared_ptr<void> addObserver(const std::string& name,
                                            std::function<void(const std::string& object)> observer) = 0;
};

}  // namespace zelto
