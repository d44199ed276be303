// Sends datagrams to a receiver of this process: its file must hold the text of each, and nothing
// else.
#include <unistd.h>

#include <filesystem>

#include "Fuzz.h"
#include "Log.h"
#include "LogServerEngine.h"
#include "LogServerUdp.h"

// Starts a receiver, and connects to it. Returns its file, in a directory that has been removed, so
// that nothing is left however the fuzzer ends.
static std::FILE* Start(qel::QELSocket& sender) {
  const std::string top = "/dev/shm/tavok-fuzz-" + std::to_string(::getpid());
  g_syslog.m_bNoSyslog = true;
  auto* const engine = new CLogServerEngine(top, 1, 1, 1, true);
  auto* const receiver = new CLogServerUdp(top + "/socket", "", engine);
  Require(engine->Init() && receiver->Init());
  receiver->Start();
  sender.Attach(unsigned(::socket(AF_UNIX, SOCK_DGRAM, 0)));
  Require(sender.ConnectUnix((top + "/socket").c_str()));
  std::FILE* const log = std::fopen((top + "/tmp.tavok").c_str(), "r+");
  std::filesystem::remove_all(top);
  return log;
}

void Try(const std::string& input) {
  static qel::QELSocket sender;
  static std::FILE* const log = Start(sender);
  // SendTo sends nothing for an empty input; an empty datagram would end reception.
  const unsigned size = unsigned(input.size());
  Require(sender.SendTo(input.data(), size, static_cast<sockaddr*>(nullptr), 0, 0, 1) == size);
  const std::string text = input.substr(0, 1024).c_str();
  std::string logged(1025, '\0');
  const auto read = [&] { return ::pread(::fileno(log), logged.data(), 1025, 0); };
  for (int polls = 0; read() < ssize_t(text.size()) && polls < 16'000'000; ++polls) {
  }
  Require(logged.c_str() == text && ::ftruncate(::fileno(log), 0) == 0);
}
