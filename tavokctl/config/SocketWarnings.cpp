#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "QELSocket.h"
#include "base/Failure.h"
#include "base/KernelSockets.h"
#include "base/UnixSocket.h"
#include "config/SettingWarnings.h"
#include "process/Instance.h"
#include "process/Search.h"
#include "process/Service.h"
#include "process/Systemd.h"

namespace {

constexpr long long kPorts = 65536;

class CSocketWarnings : public CSettingWarnings {
 public:
  using CSettingWarnings::CSettingWarnings;

  void LookAtAll() {
    if (CSettings::PortNumber(m_settings.m_strPort) != 0) {
      LookAtUdp();
    } else {
      LookAtUnix();
    }
    LookAtHeld();
  }

 private:
  void LookAtUdp() {
    const std::string& text = m_settings.m_strPort;
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    if (text.find_first_not_of("0123456789") != std::string::npos || number >= kPorts) {
      Warn("Port", "\"" + text + "\" means UDP port " + std::to_string(Port()) +
                       (Port() == 0 ? ": the kernel picks one" : ""));
    }
    if (m_settings.m_strBindingAddress.empty() || LookAtAddress(m_settings.m_strBindingAddress)) {
      LookAtPort();
    }
    if (KindOf(text) != 0) {
      Warn("Port", text + " is also a file in this directory: tavok removes it when it stops here");
    }
  }

  // Returns whether it can be bound.
  bool LookAtAddress(const std::string& text) {
    if (!qel::QELSocket::IsIP(text.c_str())) {
      Warn("BindingAddress", text + " is not a dotted IPv4 address: tavok will not start");
      return false;
    }
    const in_addr address{AddressOf(text)};
    const std::string meant = ::inet_ntoa(address);
    if (meant != text) Warn("BindingAddress", text + " means " + meant);
    const int error = ErrorOfBinding(address.s_addr, 0);
    if (error != 0) Warn("BindingAddress", text + " cannot be bound: " + std::strerror(error));
    return error == 0;
  }

  void LookAtPort() {
    if (Port() == 0 || IsHeld()) return;
    const int error = ErrorOfBinding(AddressOf(m_settings.m_strBindingAddress), Port());
    const std::string what = "UDP port " + std::to_string(Port());
    if (error == EADDRINUSE && !IsTavoksOwn())
      Warn("Port", what + " is in use: tavok will not start");
    if (error == EACCES) Warn("Port", what + " is privileged: tavok will not start");
  }

  void LookAtUnix() {
    const std::string& path = m_settings.m_strPort;
    if (!m_settings.m_strBindingAddress.empty()) {
      Warn("BindingAddress", "is ignored: tavok listens on a Unix-domain socket");
    }
    if (path.empty())
      return Warn("Port", "is empty: no program can send to a socket without a path");
    if (!path.starts_with('/')) {
      Warn("Port", "\"" + path +
                       "\" is not a port number: taken as the path of a socket, relative to the "
                       "directory in which tavok is started");
    }
    if (path.size() > kUnixPathLimit) {
      Warn("Port", "has " + std::to_string(path.size()) +
                       " bytes: a socket's path can have at most " +
                       std::to_string(kUnixPathLimit));
    }
    LookAtPath(path);
  }

  void LookAtPath(const std::string& path) {
    const mode_t kind = KindOf(path);
    if (kind == S_IFDIR) Warn("Port", path + " is a directory: tavok will not start");
    if (kind != 0 && kind != S_IFDIR && kind != S_IFSOCK) {
      Warn("Port", path + " is not a socket: tavok removes it");
    }
    if (kind == S_IFSOCK && !IsHeld() && !IsTavoksOwn() && IsAlive(path)) {
      Warn("Port", path + " is the socket of another program: tavok removes it");
    }
    if (kind == 0 && !IsHeld()) WarnOfFolder("Port", path, "cannot be bound");
    WarnOfRotatedName("Port", path);
  }

  void LookAtHeld() {
    if (IsHeld() && !IsOpen()) {
      Warn("Port", m_settings.m_strPort +
                       " is not what tavok.socket has open by now: that takes "
                       "tavokctl stop and start");
    }
    if (m_starter.HeldSockets().empty() || IsHeld()) return;
    Warn("Port", "and BindingAddress differ from what tavok.socket opens, " +
                     m_starter.HeldSockets() + ": senders to that wait for ever");
  }

  // Whether the socket is that of the tavok that runs with these settings; also if that cannot be
  // told.
  bool IsTavoksOwn() const {
    try {
      std::string why;
      const auto running = CInstance::Find(m_settings, why);
      return running && HasSocket(running->Pid(), m_settings);
    } catch (const CFailure&) {
      return true;
    }
  }

  // Whether systemd holds the socket for tavok.
  bool IsHeld() const {
    const std::string& address = m_settings.m_strBindingAddress;
    std::error_code unknown;
    const std::string name =
        CSettings::PortNumber(m_settings.m_strPort) == 0
            ? std::filesystem::weakly_canonical(m_settings.m_strPort, unknown).string()
            : (address.empty() ? "0.0.0.0" : address) + ":" + std::to_string(Port());
    return ("\n" + m_starter.HeldSockets()).find("\n" + name + " (Datagram)") != std::string::npos;
  }

  // Whether somebody has the socket, if systemd should.
  bool IsOpen() const {
    if (UnitProperty(kSocketUnit, "ActiveState") != "active") return true;
    if (CSettings::PortNumber(m_settings.m_strPort) == 0) return IsAlive(m_settings.m_strPort);
    return UdpSocketAt(AddressOf(m_settings.m_strBindingAddress), Port()).has_value();
  }

  std::uint16_t Port() const { return UdpPortOf(m_settings.m_strPort); }
};

}  // namespace

void WarnOfSocket(const std::vector<CConfigLine>& lines, const CSettings& settings,
                  const CStarter& starter, std::vector<CWarning>& warnings) {
  CSocketWarnings(lines, settings, starter, warnings).LookAtAll();
}
