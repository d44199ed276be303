#include <getopt.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>  // the streams are initialised before the globals below, and end after them
#include <string>

#include "Log.h"
#include "LogServerEngine.h"
#include "LogServerUdp.h"
#include "PidFile.h"
#include "Process.h"
#include "QELRefCount.h"
#include "QELSync.h"
#include "QELThread.h"
#include "Settings.h"
#include "StartupSemaphore.h"

std::string g_sConfFile = "LogServer.conf";
int g_nSemId = 0;
CRefCount<CSettings> g_pSettings;
std::atomic<bool> g_bExitProgram{false};

static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

namespace {

constexpr useconds_t kFlagIntervalUs = 5'000'000;

// Never deleted: the end of the process is theirs too.
CLogServerEngine* g_pEngine = nullptr;
CLogServerUdp* g_pReceiver = nullptr;

void InstallSigHup();

// Runs on the first thread only, and only where that thread is in no lock, no stream and no heap
// call: the workers have the signal blocked, and so has the first thread wherever that matters.
void sighup(int) {
  const int error = errno;
  if (CLogServerEngine* const engine = CLogServerEngine::m_pLogServerEngine) {
    LogFileFailure([engine] { engine->Rotate(); });
  }
  InstallSigHup();
  errno = error;
}

void sigterm(int) { g_bExitProgram = true; }

void InstallSigHup() {
  if (::signal(SIGHUP, sighup) == SIG_ERR) {
    const int error = errno;
    Log(kLogError, "signal SIGHUP failed: %d-%s", error, std::strerror(error));
  }
}

void InstallSigTerm() {
  if (::signal(SIGTERM, sigterm) == SIG_ERR) {
    const int error = errno;
    Log(kLogError, "LogServer signal SIGTERM failed: %d-%s", error, std::strerror(error));
  }
}

// The daemon's top-level object.
class CLogServer : public CRefCountNumber {
 public:
  // Deliberately starts no thread.
  bool Init() { return true; }

  // Removes the pid file.
  bool Stop();

  // For a thread that rotates when m_event is set, outside the signal handler. Not started.
  bool WorkerThread();
  static bool WorkerThread(void* server) {
    return static_cast<CLogServer*>(server)->WorkerThread();
  }

 private:
  CRefCount<qel::QELThread> m_thread;
  QELEvent m_event;
};

bool CLogServer::Stop() {
  const char* const path = g_pSettings->m_strPidFileName.c_str();
  if (std::remove(path) != 0) Log(kLogError, "failed to remove pid file %s", path);
  return true;
}

[[maybe_unused]] bool CLogServer::WorkerThread() {
  while (m_event.Lock(qel::QELInfinite)) sighup(1);
  return true;
}

void Usage() {
  std::printf("Usage : tavok [OPTIONS]\n");
  std::printf(" -c, --config          config file name (default: %s)\n", g_sConfFile.c_str());
  std::printf(" -h, --help            print this help message.\n");
}

// Letters that mean nothing here are accepted for the sake of shared start scripts. A bad option is
// getopt's to report, and nothing more comes of it.
void ParseCommandLine(int argc, char** argv) {
  static const option kOptions[] = {{"config", required_argument, nullptr, 'c'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {nullptr, 0, nullptr, 0}};
  for (;;) {
    switch (::getopt_long(argc, argv, "c:p:s:imbhvl:", kOptions, nullptr)) {
      case -1:
        return;
      case 'c':
        g_sConfFile = ::optarg;
        break;
      case 's':
        g_nSemId = static_cast<int>(std::strtol(::optarg, nullptr, 10));
        break;
      case 'h':
        Usage();
        std::exit(0);
      default:
        break;
    }
  }
}

[[noreturn]] void Fail(const char* message) {
  Log(kLogError, "%s", message);
  std::exit(1);
}

// Makes the engine and the receiver and starts them. Ends the process when one cannot be.
void StartComponents(const CRefCount<CLogServer>& server) {
  const CSettings& settings = *g_pSettings;
  g_pEngine =
      new CLogServerEngine(settings.m_strDirName, settings.m_nMaxFileSize, settings.m_nMaxPeriod,
                           settings.m_nMaxSize, settings.m_bExternalRotation);
  g_pReceiver = new CLogServerUdp(settings.m_strPort, settings.m_strBindingAddress, g_pEngine);
  if (server && !server->Init()) Fail("failed to init log server");
  if (!g_pEngine->Init()) Fail("failed to init log server engine");
  if (!g_pReceiver->Init()) Fail("failed to init log server");
  g_pEngine->Start();
  g_pReceiver->Start();
}

void StopComponents(const CRefCount<CLogServer>& server) {
  g_pReceiver->Stop();
  g_pEngine->Stop();
  if (server) server->Stop();
}

int RunDaemon(int argc, char** argv) {
  ParseCommandLine(argc, argv);
  g_pSettings = new CSettings(g_sConfFile);
  if (!g_pSettings->LoadConfig()) {
    Log(kLogError, "can't find conf file");
    return 1;
  }
  InstallSigHup();
  InstallSigTerm();
  killfromfile(SIGTERM, g_pSettings->m_strPidFileName);
  updatepidfile(g_pSettings->m_strPidFileName);
  const CRefCount<CLogServer> server = new CLogServer;
  {
    const CSignalBlock block;
    StartComponents(server);
  }
  CStartupSemaphore semaphore(g_nSemId);
  semaphore.Raise();
  while (!g_bExitProgram) ::usleep(kFlagIntervalUs);
  BlockSignals();  // to the end of the process: what stops must not be rotated
  StopComponents(server);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  SecureStandardStreams();
  try {
    return RunDaemon(argc, argv);
  } catch (...) {
    // An exception that nothing catches ends the process without unwinding; the semaphore set is
    // removed, and the server released, on the way here.
    throw;
  }
}
