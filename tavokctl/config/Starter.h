#pragma once

#include <string>
#include <vector>

/// Who starts tavok: its rights, and what a sandbox leaves of them.
class CStarter {
 public:
  /// For a configuration: the user, if one is named; else, for that of the service and root, the
  /// user of its unit; else the caller. Takes on that user's rights, for the rest of this process.
  /// Throws CFailure if there is no such user, or if the caller may not.
  CStarter(const std::string& config, const std::string& user);

  /// Why it cannot use a file or directory in a way, as of access(2): "Permission denied", or what
  /// the sandbox does; empty if it can. A directory that systemd makes for it counts as writable.
  std::string Obstacle(const std::string& path, int mode) const;

  /// " (as user NAME)", for messages; empty if that is the caller.
  std::string AsUser() const { return m_user.empty() ? "" : " (as user " + m_user + ")"; }

  /// Whether systemd makes this directory, before it starts tavok.
  bool IsMade(const std::string& path) const;

  /// Whether nobody but tavok sees the same file there.
  bool IsAlone(const std::string& path) const;

  /// The datagram sockets that systemd holds for it, as systemd writes them:
  /// "/run/tavok/socket (Datagram)", "0.0.0.0:514 (Datagram)". Empty if it is not the service.
  const std::string& HeldSockets() const { return m_heldSockets; }

 private:
  void ReadUnit();
  void Become(const std::string& user);
  bool IsWithin(const std::vector<std::string>& directories, const std::string& path) const;

  std::string m_user;  // whose rights it has taken on
  std::vector<std::string> m_writable, m_readOnly, m_hidden;
  std::vector<std::string> m_made;  // by systemd, before it starts tavok
  bool m_hasOwnTmp = false;
  std::string m_heldSockets;
};
