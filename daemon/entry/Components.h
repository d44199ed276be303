#pragma once

#include "HeldSockets.h"
#include "LogServer.h"
#include "QELRefCount.h"
#include "ServiceManager.h"

/// The engine and the receiver: one of each in a process, for its first thread. They are never
/// deleted, since their threads and the SIGHUP handler may look at them until the process ends.

/// Makes both as g_pSettings says, and starts them. The receiver uses the held socket that the
/// settings name, if there is one. If one cannot be initialised, logs which and exits with
/// status 1. To be called with SIGHUP and SIGTERM blocked, which the threads inherit.
void StartComponents(const CRefCount<CLogServer>& server, CHeldSockets& sockets);

/// Tells the manager whether both do their work. To be called with SIGHUP blocked.
void TellOfComponents(CServiceManager& manager);

/// Stops the receiver, then the engine, then the server.
void StopComponents(const CRefCount<CLogServer>& server);
