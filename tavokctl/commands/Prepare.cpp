#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>

#include "Commands.h"
#include "base/Failure.h"
#include "base/Files.h"
#include "base/Options.h"
#include "base/Output.h"
#include "config/Config.h"

namespace {

constexpr const char* kUsage =
    "Usage: tavokctl prepare -o UID:GID [-c FILE]\n"
    "Makes the log directory, and that of a socket's path, and gives both to the user and the "
    "group that\n"
    "tavok will have. A directory that is the user's keeps its mode. Refuses one of another "
    "user that\n"
    "is not empty. For containers.\n"
    "  -c, --config FILE    the configuration\n"
    "  -o, --owner UID:GID  the numbers of user and group\n";

struct COwner {
  uid_t user;
  gid_t group;
};

COwner ReadOwner(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == text.npos) throw CWrongUse("--owner takes UID:GID, not \"" + text + "\"");
  return {ReadCount("--owner", text.substr(0, colon), 0, INT_MAX),
          ReadCount("--owner", text.substr(colon + 1), 0, INT_MAX)};
}

bool Make(const std::string& path) {
  if (::mkdir(path.c_str(), 0700) == 0) return true;
  if (errno != EEXIST) throw CFailure("make directory " + path, errno);
  return false;
}

// By its descriptor: the path cannot come to mean another directory.
void Give(const std::string& path, const COwner& owner, mode_t mode) {
  const std::string act = "give directory " + path + " to user " + std::to_string(owner.user);
  const bool isNew = Make(path);
  // Which root could not open without CAP_DAC_OVERRIDE.
  if (const auto now = Look(path); !isNew && now && now->owner == owner.user) {
    constexpr auto kSameUser = static_cast<uid_t>(-1);
    if (::lchown(path.c_str(), kSameUser, owner.group) == -1) throw CFailure(act, errno);
    return;
  }
  const CDescriptor directory = OpenFile(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  // Such as /tmp or /run, or that of another tavok.
  if (!std::filesystem::is_empty(path)) throw CFailure(act + ": it is another's and not empty");
  // In this order, a root that may change owners needs no other capability.
  if (::fchmod(directory.Get(), mode) == -1 ||
      ::fchown(directory.Get(), owner.user, owner.group) == -1) {
    throw CFailure(act, errno);
  }
  Say(path + " belongs to user " + std::to_string(owner.user) + " now");
}

}  // namespace

int Prepare(int argc, char** argv) {
  std::string config = kDefaultConfig, owner;
  ReadOptions(argc, argv, kUsage, {ConfigOption(config), TextOption('o', "owner", owner)});
  const COwner numbers = ReadOwner(owner);
  const auto settings = ReadSettings(config);
  Give(settings->m_strDirName, numbers, 0750);
  if (CSettings::PortNumber(settings->m_strPort) == 0) {
    Give(FolderOf(settings->m_strPort), numbers, 0755);
  }
  return kDone;
}
