#include "SignalHandlers.h"

#include <signal.h>

#include <cerrno>
#include <cstring>

#include "Globals.h"
#include "Log.h"
#include "LogServerEngine.h"

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
