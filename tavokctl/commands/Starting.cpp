#include "commands/Starting.h"

#include <unistd.h>

#include "base/Failure.h"
#include "config/Config.h"
#include "config/Warnings.h"
#include "process/HandOver.h"
#include "process/Service.h"

namespace {

// Takes on the rights of another user for that: it comes last.
std::string Explanation(const CSettings& settings) {
  std::string text;
  try {
    const CStarter starter(settings.m_strConfFile, "");
    for (const CWarning& warning : FindWarnings(settings, starter)) {
      text += "\n" + Line(settings, warning);
    }
  } catch (const CFailure& e) {
    text = "\n" + std::string(e.what());
  }
  return text.empty() ? "" : "\ntavokctl check says:" + text;
}

}  // namespace

void StartAnew(const std::string& config, const std::vector<std::string>& options,
               unsigned timeout) {
  const auto settings = ReadSettings(config);
  try {
    if (!IsServiceOf(config)) {
      HandOver(*settings, options, timeout);
    } else if (options.empty()) {
      RestartService(*settings, timeout);
    } else {
      throw CWrongUse("options for tavok need -c: the service has its own");
    }
  } catch (const CFailure& e) {
    // What another user than root may not do says nothing about the service.
    if (IsServiceOf(config) && ::geteuid() != 0) throw;
    throw CFailure(e.what() + Explanation(*settings));
  }
}
