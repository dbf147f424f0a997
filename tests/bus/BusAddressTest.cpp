#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/bus/BusAddress.h"
#include "platform/bus/SessionBus.h"
#include "tests/bus/PrivateBus.h"

namespace zelto {
namespace {

TEST(BusAddress, AFailedConnectionSaysWhatToDo) {
  const test::PrivateBus nothing;
  auto bus = SessionBus::connect();
  ASSERT_FALSE(bus);
  EXPECT_NE(std::string::npos, bus.error().localizedDescription().find("\"zelto up\""));

  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  bus = SessionBus::connect();
  ASSERT_FALSE(bus);
  const std::string text = bus.error().localizedDescription();
  EXPECT_NE(std::string::npos, text.find("/nonexistent/bus (from DBUS_SESSION_BUS_ADDRESS): No such file"));

  for (const char* address : {"nonsense", "unix:", "autolaunch:"}) {
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
    EXPECT_FALSE(SessionBus::connect()) << address;
  }
}

TEST(BusAddress, FindsThePrivateBusBehindAStaleAddress) {
  test::PrivateBus bus;
  bus.start();
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  EXPECT_FALSE(SessionBus::connect());
  std::ofstream(busAddressFile()) << bus.address() << '\n';
  EXPECT_TRUE(SessionBus::connect());
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  EXPECT_TRUE(SessionBus::connect());
}

TEST(BusAddress, FindsTheUsersBusInTheRuntimeFolder) {
  test::PrivateBus bus;
  bus.start();
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  ::setenv("XDG_RUNTIME_DIR", bus.folder().c_str(), 1);
  EXPECT_TRUE(SessionBus::connect());
}

TEST(BusAddress, DoesNotTrustAnAddressFileThatIsNoPlainFile) {
  const test::PrivateBus bus;
  const std::string elsewhere = bus.folder() + "/elsewhere";
  std::ofstream(elsewhere) << "unix:path=/tmp/x\n";
  ASSERT_EQ(0, ::symlink(elsewhere.c_str(), busAddressFile().c_str()));
  EXPECT_TRUE(busCandidates().empty());
  std::filesystem::remove(busAddressFile());
  ASSERT_EQ(0, ::mkfifo(busAddressFile().c_str(), 0600));
  EXPECT_TRUE(busCandidates().empty());
}

TEST(BusAddress, EscapesPaths) {
  EXPECT_EQ("unix:path=/tmp/a-b_c.d/%c3%bc%20%2c%25", unixBusAddress("/tmp/a-b_c.d/ü ,%"));
}

}  // namespace
}  // namespace zelto
