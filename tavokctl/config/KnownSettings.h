#pragma once

#include <array>
#include <string>

#include "Settings.h"

/// A setting of section [LogServer]: its key, and its effective value with its unit.
struct CKnownSetting {
  const char* key;
  std::string (*value)(const CSettings&);
};

/// All eight, in the order in which they are printed.
extern const std::array<CKnownSetting, 8> kKnownSettings;
