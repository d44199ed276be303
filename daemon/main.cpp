#include <signal.h>
#include <unistd.h>

#include "CommandLine.h"
#include "Components.h"
#include "Globals.h"
#include "HeldSockets.h"
#include "Log.h"
#include "LogServer.h"
#include "Process.h"
#include "QELRefCount.h"
#include "ServiceManager.h"
#include "SignalHandlers.h"
#include "StartupSemaphore.h"
#include "Util.h"

namespace {

void Look(CServiceManager& manager) {
  if (!manager.IsThere()) return;
  const CSignalBlock block;
  TellOfComponents(manager);
}

int RunDaemon(int argc, char** argv) {
  CHeldSockets sockets;
  CServiceManager manager;
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
    StartComponents(server, sockets);
  }
  CStartupSemaphore semaphore(g_nSemId);
  semaphore.Raise();
  // The flag is tested right before the sleep, which a signal that comes earlier does not end.
  for (Look(manager); !g_bExitProgram; Look(manager)) ::usleep(manager.LookIntervalUs());
  BlockSignals();  // until the process ends: a component that stops must not be rotated
  manager.Stopping();
  StopComponents(server);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  SecureStandardStreams();
  try {
    return RunDaemon(argc, argv);
  } catch (...) {
    // An exception that nothing catches would end the process without unwinding. On the way here,
    // the semaphore set has been removed and the server released.
    throw;
  }
}
