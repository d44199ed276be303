#include "LogServer.h"

#include <cstdio>

#include "Globals.h"
#include "Log.h"
#include "SignalHandlers.h"

bool CLogServer::Stop() {
  const char* const path = g_pSettings->m_strPidFileName.c_str();
  if (std::remove(path) != 0) Log(kLogError, "failed to remove pid file %s", path);
  return true;
}

bool CLogServer::WorkerThread() {
  while (m_event.Lock(qel::QELInfinite)) sighup(1);
  return true;
}

bool CLogServer::WorkerThread(void* server) {
  return static_cast<CLogServer*>(server)->WorkerThread();
}
