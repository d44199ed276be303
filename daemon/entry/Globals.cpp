#include "Globals.h"

#include <iostream>  // initialises the standard streams before the globals below

// In this order: the settings are released before the path.
std::string g_sConfFile = "LogServer.conf";
int g_nSemId = 0;
CRefCount<CSettings> g_pSettings;
std::atomic<bool> g_bExitProgram{false};

static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");
