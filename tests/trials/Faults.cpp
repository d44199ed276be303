#include "Trial.h"

namespace {

struct Fault {
  const char* fault;
  const char* says = "";  // among the daemon's messages
  int mayMiss = 0;        // messages that the fault takes with it
  int status = 0;         // of the end; 1: it ends at once
};

constexpr int kPortion = 50;
constexpr int kReceptionEnds = 3 * kPortion;

const Fault kFaults[] = {
    {"mkdir,log,1,13", "CLogServerUdp::Init failed to create directory ", 0, 1},
    {"fopen,tmp.tavok,1,13", "CLogServerUdp::Init failed to open file ", 0, 1},
    {"socket,-,1,24", "CLogServerUdp::Init Error (24):24\nfailed to init log server\n", 0, 1},
    {"bind,-,1,98", "CLogServerUdp::Init Error (98):98\nfailed to init log server\n", 0, 1},
    {"setsockopt,-,1,1", "CLogServerUdp::Init Error (1):1\nfailed to init log server\n", 0, 1},
    {"signal,-,4,22", "signal SIGHUP failed: 22-Invalid argument\n"},  // in the handler
    {"signal,-,3,22", "LogServer signal SIGTERM failed: 22-Invalid argument\n", 0, 143},
    {"fopen,pid,1,13"},
    {"fopen,pid,2,13", "failed to write to pid file "},
    {"fwrite,-,1,28"},  // of the pid file
    {"remove,pid,1,13"},
    {"unlink,socket,1,13"},
    {"semop,-,1,11"},
    {"socket,-,2,24", "CStatsServer::Init() - Failed to create socket: QELTrace_"},
    {"socket,-,3,24"},  // the look for the system logger
    {"sendto,-,1,105"},
    {"recvfrom,-,1,12", "CLogServerUdp::MainWorkerThread() - Error 12 - Error (12)\n",
     kReceptionEnds},
    {"select,-,1,12", "CLogServerUdp::MainWorkerThread() - Error 12 - Error (12)\n",
     kReceptionEnds},
    {"select,-,2,4"},
    {"fwrite,-,2,28",
     "CLogServerEngine::Write failed Error:28\n"
     "CLogServerUdp::MainWorkerThread() fwrite failed\n",
     1},
    {"fflush,-,1,28", "CLogServerEngine::Write flush failed Error:28\n"},
    {"fclose,-,3,28"},
    {"remove,tavok_,1,13"},
    {"rename,tmp.tavok,1,18", "CLogServerEngine file system error:18\n", kPortion},
    {"fopen,tmp.tavok,2,24", "CLogServerEngine file system error:24\n", kPortion},
    {"opendir,log,1,24"},
    {"stat,tavok_,1,5"},
};

// Sends a portion of the messages, if anybody takes them.
void SendPortion(const TempDir& dir, int portion, const Fault& fault) {
  if (fault.mayMiss == kReceptionEnds) return;
  const Sender sender(dir / "socket");
  for (int i = 0; i < kPortion; ++i) sender.Send(Numbered(0, portion * kPortion + i));
}

// Three portions with a rotation after each of the first two. What the fault takes away is lost,
// everything before it is as it was, and from the next rotation on all is well.
void Survives(const TempDir& dir, const Daemon& daemon, const Fault& fault) {
  EXPECT_TRUE(daemon.IsUp());
  SendPortion(dir, 0, fault);
  if (fault.mayMiss == kPortion) {
    ExpectLogged(dir, {kPortion});
    daemon.Signal(SIGHUP);  // which fails
    EXPECT_TRUE(daemon.Says(fault.says));
  } else {
    Rotate(dir, daemon);
  }
  SendPortion(dir, 1, fault);
  std::ofstream(dir / "log/tmp.tavok", std::ios::app).close();  // should it be missing
  Rotate(dir, daemon);
  SendPortion(dir, 2, fault);
  ExpectLogged(dir, {3 * kPortion}, fault.mayMiss);
}

}  // namespace

TEST(Fault, IsReportedAndPassesAndDamagesNothing) {
  InParallel(kFaults, [](const Fault& fault) {
    SCOPED_TRACE(fault.fault);
    const TempDir dir;
    std::filesystem::create_directory(dir / "log");
    WriteFile(dir / "log/0_tavok_of_earlier", "");
    WriteFile(dir / "pid", fault.fault[0] == 'f' ? "2147483647" : "");
    Daemon daemon(dir, "", "", Shimmed(fault.fault));
    const bool endsAtOnce = fault.status == 1;
    if (!endsAtOnce) Survives(dir, daemon, fault);
    EXPECT_TRUE(daemon.Says(fault.says)) << daemon.Output();
    EXPECT_EQ(fault.status, endsAtOnce ? daemon.Exit() : daemon.Stop());
    EXPECT_TRUE(std::filesystem::exists(dir / "log/0_tavok_of_earlier"));
  });
  Figure("%zu faults", std::size(kFaults));
}

TEST(Fault, WithoutThreadsTheStartWaitsAndCanBeKilled) {
  const TempDir dir;
  Daemon daemon(dir, "", "", Shimmed("pthread_create,-,1,11"));
  EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(dir / "socket"); }));
  daemon.Signal(SIGTERM);
  Nap(1000);  // for an end that does not come
  EXPECT_FALSE(daemon.HasEnded());
  EXPECT_EQ(0, daemon.Semaphore());
  EXPECT_EQ(128 + SIGKILL, daemon.Stop(SIGKILL));
}

// Without its name, others would take its receiver for one that has ended.
TEST(Fault, AStartIsToldOnlyWhenTheReceiverHasItsName) {
  const TempDir dir;
  Daemon daemon(dir, "", "", Shimmed("pthread_setname_np,receiver,1,0"));
  EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(dir / "paused"); }));
  Nap(100);  // for a start that is not told
  EXPECT_EQ(0, daemon.Semaphore());
  EXPECT_EQ("", daemon.Output());
  std::filesystem::remove(dir / "paused");
  EXPECT_TRUE(daemon.IsUp());
}
