#include <functional>

#include "Daemon.h"
#include "InParallel.h"
#include "Manager.h"

namespace {

int BufferSize(int fd) {
  int size = 0;
  socklen_t length = sizeof size;
  Check(::getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, &length) == 0, "SO_RCVBUF");
  return size;
}

bool Logs(const TempDir& dir, const std::string& text) {
  return Eventually([&] { return Logged(dir) == text; });
}

}  // namespace

TEST(Service, TellsTheManagerAndLeavesItsSocketAsItIs) {
  const TempDir dir;
  Manager manager(dir);
  const int buffer = BufferSize(manager.Socket());
  const Sender sender(dir / "socket");
  {
    const Daemon daemon(dir, manager.Setup(200));
    EXPECT_TRUE(manager.Told().Sees("READY=1"));
    EXPECT_TRUE(Eventually([&] { return manager.Told().Count("WATCHDOG=1") > 3; }));
    sender.Send("");
    sender.Send("behind");
    EXPECT_TRUE(manager.Told().Sees("STATUS=reception has ended"));
    const long before = manager.Told().Count("WATCHDOG=1");
    Nap(500);  // for what must not come
    EXPECT_EQ(before, manager.Told().Count("WATCHDOG=1"));
    EXPECT_EQ(0, manager.Told().Count("STOPPING=1"));
    EXPECT_EQ(std::string::npos, daemon.Output().find("not used")) << daemon.Output();
  }
  EXPECT_TRUE(manager.Told().Sees("STOPPING=1"));
  EXPECT_EQ(1, manager.Told().Count("READY=1"));
  EXPECT_EQ("", Logged(dir));
  const Daemon next(dir, manager.Setup());
  EXPECT_TRUE(Logs(dir, "behind"));
  EXPECT_EQ(buffer, BufferSize(manager.Socket()));
}

TEST(Service, TellsThatNoFileIsOpen) {
  const TempDir dir;
  Manager manager(dir);
  Daemon daemon(dir, manager.Setup(200));
  EXPECT_TRUE(manager.Told().Sees("WATCHDOG=1"));
  std::filesystem::remove(dir / "log/tmp.tavok");
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(manager.Told().Sees("STATUS=no file is open"));
  WriteFile(dir / "log/tmp.tavok", "");
  AwaitNextSecond();
  daemon.Signal(SIGHUP);  // which succeeds
  const long before = manager.Told().Count("WATCHDOG=1");
  EXPECT_TRUE(Eventually([&] { return manager.Told().Count("WATCHDOG=1") > before; }));
}

TEST(Service, IgnoresWhatIsNotForIt) {
  const struct Case {
    std::string variables, says;
    bool isWatched = false;
  } cases[] = {
      {"LISTEN_PID=1 LISTEN_FDS=1", ""},
      {"LISTEN_PID=$$x LISTEN_FDS=1", ""},
      {"LISTEN_PID=$$ LISTEN_FDS=x", ""},
      {"LISTEN_PID=$$ LISTEN_FDS=-1", ""},
      {"LISTEN_PID=$$ LISTEN_FDS=99999999999999999999", ""},
      {"LISTEN_PID=$$ LISTEN_FDS=2147483648", "descriptor 3 of the service manager is not used: "},
      {"NOTIFY_SOCKET=missing WATCHDOG_USEC=1000", ""},
      {"NOTIFY_SOCKET=" + std::string(108, 'x'), ""},
      {"NOTIFY_SOCKET=full WATCHDOG_USEC=1", ""},
      {"NOTIFY_SOCKET=told WATCHDOG_USEC=0", ""},
      {"NOTIFY_SOCKET=told WATCHDOG_USEC=1s", ""},
      {"NOTIFY_SOCKET=told WATCHDOG_USEC=1000 WATCHDOG_PID=1", ""},
      {"NOTIFY_SOCKET=told WATCHDOG_USEC=1000 WATCHDOG_PID=$$", "", true}};
  InParallel(cases, [](const Case& it) {
    SCOPED_TRACE(it.variables);
    const TempDir dir;
    Collector told(dir / "told");
    const FullCollector full(dir / "full");
    const int elsewhere = BoundSocket(dir / "elsewhere");
    {
      const Daemon daemon(dir, TavokSetup{.prefix = "env " + it.variables, .passed = elsewhere});
      EXPECT_TRUE(daemon.IsUp()) << daemon.Output();
      Sender(dir / "socket").Send("received");
      EXPECT_TRUE(Logs(dir, "received"));
      EXPECT_TRUE(daemon.Says(it.says)) << daemon.Output();
      EXPECT_EQ(it.says.empty(), daemon.Output().find("not used") == std::string::npos);
      EXPECT_TRUE(!it.isWatched || told.Sees("WATCHDOG=1"));
    }
    EXPECT_EQ(it.isWatched, told.Count("WATCHDOG=1") > 0);
    ::close(elsewhere);
  });
}

TEST(Service, ReportsADescriptorThatItCannotUse) {
  const std::string port = std::to_string(FreePort()), other = std::to_string(FreePort());
  const auto made = [](int family, int type) { return ::socket(family, type | SOCK_CLOEXEC, 0); };
  const struct Case {
    std::function<int(const TempDir&)> open;
    std::string port, says;  // where DIR is the directory
  } cases[] = {
      {[&](const TempDir&) { return made(AF_UNIX, SOCK_STREAM); }, "", "no datagram socket"},
      {[](const TempDir& dir) { return ::open(dir.Path().c_str(), O_RDONLY | O_CLOEXEC); }, "",
       "no datagram socket"},
      {[&](const TempDir&) { return made(AF_UNIX, SOCK_DGRAM); }, "", "not bound"},
      {[&](const TempDir&) { return made(AF_INET, SOCK_DGRAM); }, other, "not bound"},
      {[](const TempDir& dir) { return BoundSocket(dir / "other"); }, "",
       "bound to path DIR/other, not to path DIR/socket"},
      {[&](const TempDir&) { return BoundSocket(port); }, "",
       "bound to UDP 127.0.0.1:" + port + ", not to path DIR/socket"},
      {[](const TempDir& dir) {
         const int fd = BoundSocket(dir / "socket");
         ::shutdown(fd, SHUT_RD);
         return fd;
       },
       "", "shut down"}};
  InParallel(cases, [](const Case& it) {
    const TempDir dir;
    const int fd = it.open(dir);
    const std::string at = it.port.empty() ? dir / "socket" : it.port;
    const Daemon daemon(dir, TavokSetup{.settings = "Port=" + at + "\n",
                                        .prefix = "env LISTEN_PID=$$ LISTEN_FDS=1",
                                        .passed = fd});
    EXPECT_TRUE(daemon.IsUp()) << daemon.Output();
    std::string said = daemon.Output();
    for (std::size_t i; (i = said.find(dir.Path())) != said.npos;) {
      said.replace(i, dir.Path().size(), "DIR");
    }
    const std::string is = "descriptor 3 of the service manager is not used: it is ";
    EXPECT_NE(said.npos, said.find(is + it.says + "\n")) << said;
    Sender(at).Send("received");
    EXPECT_TRUE(Logs(dir, "received"));
    ::close(fd);
  });
}
