#pragma once

#include <map>
#include <string>

#include "QELIniFile.h"
#include "QELRefCount.h"
#include "QELSync.h"

namespace qel {

/// A listener, told when a reload has changed the settings.
class ISettingsNotification {
 public:
  /// Called on the loading thread with the store's lock held: it may call the store, and must
  /// not wait for another thread that does.
  virtual void OnSettingsChanged() = 0;

 protected:
  ~ISettingsNotification() = default;
};

/// The parsed configuration file of one path. Any thread may call every operation. GetIniFile takes
/// the current parse without waiting for a reload; the others wait for one that is under way.
class CIniSettings : public CRefCountNumber {
 public:
  CIniSettings() = default;
  virtual ~CIniSettings() = default;

  /// Remembers the path of the configuration file. Opens nothing.
  void SetPath(const std::string& path);

  /// Reads and parses the file at `path`, publishes the parse and, when any name, key or value in
  /// it differs from the one before, tells the listeners in the order of their addresses. The first
  /// load tells nobody. A file that cannot be opened is traced, yields false and changes nothing;
  /// one that cannot be read to its end, such as a directory, counts as what was read. Blocks on
  /// the file system.
  bool _Load(const std::string& path);

  /// The current parse, which a reload never changes; empty before the first load.
  CRefCount<CIniFile> GetIniFile() const { return m_current.Get(); }

  /// Registers a listener, which is not owned, with a number that is kept and not used.
  void AddListener(ISettingsNotification* listener, unsigned number);

  /// Forgets a listener; one that is not registered is ignored. Once it has returned, the listener
  /// is not called any more.
  void RemoveListener(ISettingsNotification* listener);

 private:
  void Publish(const CRefCount<CIniFile>& parse);
  void NotifyListeners();

  std::string m_strPath;
  std::string m_strUnused;
  CLockedRefCount<CIniFile> m_current;
  QELCriticalSection m_cs;  // serialises loads; guards the path and the listeners
  std::map<ISettingsNotification*, unsigned> m_listeners;
};

}  // namespace qel
