#include "Config.h"

#include "Command.h"
#include "Files.h"

CRefCount<CSettings> ReadSettings(const std::string& path) {
  (void)ReadText(path);  // tells why it cannot be read; LoadConfig does not
  CRefCount<CSettings> settings = new CSettings(path);
  if (!settings->LoadConfig()) throw CFailure("read " + path + ": no section [LogServer]");
  return settings;
}
