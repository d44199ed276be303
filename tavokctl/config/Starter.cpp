#include "config/Starter.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>

#include "base/Failure.h"
#include "process/Service.h"
#include "process/Systemd.h"

namespace {

std::string OfService(const std::string& property) { return UnitProperty(kServiceUnit, property); }

// The paths in a property, without the signs that may be before one, below a directory.
void AddPaths(const std::string& property, const std::string& top,
              std::vector<std::string>& paths) {
  std::istringstream words(OfService(property));
  for (std::string word; words >> word;) {
    paths.push_back(top + word.substr(std::min(word.find_first_not_of("-+"), word.size())));
  }
}

// How much of the path the longest of these directories that it lies in is.
std::size_t Match(const std::vector<std::string>& directories, const std::string& path) {
  std::size_t longest = 0;
  for (const std::string& directory : directories) {
    const bool isIn = directory == "/" || path == directory || path.starts_with(directory + "/");
    if (isIn) longest = std::max(longest, directory.size());
  }
  return longest;
}

}  // namespace

CStarter::CStarter(const std::string& config, const std::string& user) {
  const bool isService = IsServiceOf(config);
  if (isService && (!user.empty() || ::geteuid() == 0)) ReadUnit();
  const std::string effective =
      isService && user.empty() && ::geteuid() == 0 ? OfService("User") : user;
  if (!effective.empty()) Become(effective);
}

void CStarter::Become(const std::string& user) {
  const passwd* const entry = ::getpwnam(user.c_str());
  if (entry == nullptr) throw CFailure("check as " + user + ": there is no such user");
  if (entry->pw_uid == ::geteuid()) return;
  if (::initgroups(user.c_str(), entry->pw_gid) == -1 || ::setgid(entry->pw_gid) == -1 ||
      ::setuid(entry->pw_uid) == -1) {
    throw CFailure("check as " + user, errno);
  }
  m_user = user;
}

// See systemd.exec(5).
void CStarter::ReadUnit() {
  const std::string system = OfService("ProtectSystem"), home = OfService("ProtectHome");
  if (system == "strict") m_readOnly = {"/"};
  if (system == "full") m_readOnly = {"/usr", "/boot", "/efi", "/etc"};
  if (system == "yes") m_readOnly = {"/usr", "/boot", "/efi"};
  if (!home.empty() && home != "no") {
    auto& homes = home == "read-only" ? m_readOnly : m_hidden;
    homes.insert(homes.end(), {"/home", "/root", "/run/user"});
  }
  AddPaths("ReadOnlyPaths", "", m_readOnly);
  AddPaths("InaccessiblePaths", "", m_hidden);
  AddPaths("LogsDirectory", "/var/log/", m_made);
  AddPaths("RuntimeDirectory", "/run/", m_made);
  AddPaths("StateDirectory", "/var/lib/", m_made);
  AddPaths("CacheDirectory", "/var/cache/", m_made);
  m_writable = m_made;
  AddPaths("ReadWritePaths", "", m_writable);
  const std::string tmp = OfService("PrivateTmp");
  m_hasOwnTmp = !tmp.empty() && tmp != "no";
  if (m_hasOwnTmp) m_writable.insert(m_writable.end(), {"/tmp", "/var/tmp"});
  m_heldSockets = UnitProperty(kSocketUnit, "Listen");
}

std::string CStarter::Obstacle(const std::string& path, int mode) const {
  std::error_code unknown;
  const std::string real = std::filesystem::weakly_canonical(path, unknown);
  if (const int error = ::access(path.c_str(), mode) == -1 ? errno : 0; error != 0) {
    // systemd makes it, and gives it to the user.
    const bool isMended = IsMade(real) && (error == ENOENT || error == EACCES || error == EPERM);
    if (!isMended) return std::strerror(error) + AsUser();
  }
  if (IsWithin(m_hidden, real)) return "hidden by the sandbox of its unit";
  const bool isReadOnly = (mode & W_OK) != 0 && IsWithin(m_readOnly, real);
  return isReadOnly ? "read-only in the sandbox of its unit" : "";
}

// Whether one of these directories, and none of the writable ones below it, holds the path.
bool CStarter::IsWithin(const std::vector<std::string>& directories,
                        const std::string& path) const {
  const std::size_t match = Match(directories, path);
  return match > 0 && match >= Match(m_writable, path);
}

bool CStarter::IsMade(const std::string& path) const {
  return std::find(m_made.begin(), m_made.end(), path) != m_made.end();
}

bool CStarter::IsAlone(const std::string& path) const {
  return m_hasOwnTmp && Match({"/tmp", "/var/tmp"}, path) > 0;
}
