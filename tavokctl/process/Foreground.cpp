#include "process/Foreground.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "base/Descriptor.h"
#include "base/Failure.h"
#include "base/Output.h"
#include "process/Command.h"

namespace {

// JOURNAL_STREAM names the device and inode of the stream to the journal; see systemd.exec(5).
bool ErrorsGoToTheJournal() {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat status;
  return stream != nullptr && ::fstat(STDERR_FILENO, &status) == 0 &&
         std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

}  // namespace

void BecomeTavok(const std::string& config, const std::vector<std::string>& options) {
  const std::string program = FindProgram();
  const CSemaphore semaphore;
  std::vector<std::string> words = CommandWords(config, options, semaphore);
  const CDescriptor errors(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (ErrorsGoToTheJournal()) {
    const CDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    (void)::dup2(nowhere.Get(), STDERR_FILENO);
  }
  PushOutput();
  (void)::execv(program.c_str(), Arguments(words).data());
  const int error = errno;
  (void)::dup2(errors.Get(), STDERR_FILENO);  // for the failure to be seen
  throw CFailure("run " + program, error);
}
