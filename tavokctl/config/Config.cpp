#include "config/Config.h"

#include "base/Failure.h"
#include "base/Files.h"

CRefCount<CSettings> ReadSettings(const std::string& path) {
  (void)ReadText(path);  // says why a file cannot be read, which LoadConfig does not
  CRefCount<CSettings> settings = new CSettings(path);
  if (!settings->LoadConfig()) throw CFailure("read " + path + ": no section [LogServer]");
  return settings;
}
