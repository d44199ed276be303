#include "Components.h"

#include <cstdlib>

#include "Globals.h"
#include "Log.h"
#include "LogServerEngine.h"
#include "LogServerUdp.h"

namespace {

CLogServerEngine* g_pEngine = nullptr;
CLogServerUdp* g_pReceiver = nullptr;

[[noreturn]] void Fail(const char* message) {
  Log(kLogError, "%s", message);
  std::exit(1);
}

}  // namespace

void StartComponents(const CRefCount<CLogServer>& server, CHeldSockets& sockets) {
  const CSettings& settings = *g_pSettings;
  g_pEngine =
      new CLogServerEngine(settings.m_strDirName, settings.m_nMaxFileSize, settings.m_nMaxPeriod,
                           settings.m_nMaxSize, settings.m_bExternalRotation);
  g_pReceiver = new CLogServerUdp(settings.m_strPort, settings.m_strBindingAddress, g_pEngine);
  g_pReceiver->UseHeld(sockets.Take(settings.m_strPort, settings.m_strBindingAddress));
  if (server && !server->Init()) Fail("failed to init log server");
  if (!g_pEngine->Init()) Fail("failed to init log server engine");
  if (!g_pReceiver->Init()) Fail("failed to init log server");
  g_pEngine->Start();
  g_pReceiver->Start();
}

void TellOfComponents(CServiceManager& manager) {
  manager.Look(g_pReceiver->IsReceiving(), g_pEngine->HasFile());
}

void StopComponents(const CRefCount<CLogServer>& server) {
  g_pReceiver->Stop();
  g_pEngine->Stop();
  if (server) server->Stop();
}
