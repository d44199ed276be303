// Sends datagrams to a receiver of this process: its file must hold the text of each, and nothing
// else.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "Fuzz.h"
#include "Log.h"
#include "LogServerEngine.h"
#include "LogServerUdp.h"

// Starts a receiver, and connects to it. Returns its file, in a directory that has been removed, so
// that nothing is left however the fuzzer ends.
static int Start(qel::QELSocket& sender) {
  const std::string top = "/dev/shm/tavok-fuzz-" + std::to_string(::getpid());
  g_syslog.m_bNoSyslog = true;
  auto* const engine = new CLogServerEngine(top, 1, 1, 1, true);
  auto* const receiver = new CLogServerUdp(top + "/socket", "", engine);
  Require(engine->Init() && receiver->Init());
  receiver->Start();
  sender.Attach(unsigned(::socket(AF_UNIX, SOCK_DGRAM, 0)));
  Require(sender.ConnectUnix((top + "/socket").c_str()));
  const int log = ::open((top + "/tmp.tavok").c_str(), O_RDWR);
  std::filesystem::remove_all(top);
  return log;
}

void Try(const std::string& input) {
  static qel::QELSocket sender;
  static const int log = Start(sender);
  // SendTo sends nothing for an empty input; an empty datagram would end reception.
  const unsigned size = unsigned(input.size());
  Require(sender.SendTo(input.data(), size, static_cast<sockaddr*>(nullptr), 0, 0, 1) == size);
  const std::string text = input.substr(0, 1024).c_str();
  std::string logged(2048, '\0');
  std::size_t read = 0;
  for (int polls = 0; read < text.size() && polls < 16'000'000; ++polls) {
    read = std::size_t(::pread(log, logged.data(), logged.size(), 0));
  }
  Require(logged.substr(0, read) == text && ::ftruncate(log, 0) == 0);
}
