#include "QELIniSettings.h"

#include <fstream>

#include "QELTrace.h"

namespace qel {
namespace {

// Returns false when the file cannot be opened; a read error ends the text early.
bool ReadText(const std::string& path, std::string& text) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  char block[4096];
  while (file) {
    file.read(block, sizeof block);
    text.append(block, static_cast<std::size_t>(file.gcount()));
  }
  return true;
}

}  // namespace

void CIniSettings::SetPath(const std::string& path) {
  const QELAutoLock lock(m_cs);
  m_strPath = path;
}

bool CIniSettings::_Load(const std::string& path) {
  const QELAutoLock lock(m_cs);
  const CRefCount<CIniFile> parse = new CIniFile;
  std::string text;
  if (!ReadText(path, text) || !parse->ParseText(text)) {
    QelTrace("CIniSettings::_Load (%s) failed", path.c_str());
    return false;
  }
  Publish(parse);
  return true;
}

void CIniSettings::AddListener(ISettingsNotification* listener, unsigned number) {
  const QELAutoLock lock(m_cs);
  m_listeners[listener] = number;
}

void CIniSettings::RemoveListener(ISettingsNotification* listener) {
  const QELAutoLock lock(m_cs);
  m_listeners.erase(listener);
}

void CIniSettings::Publish(const CRefCount<CIniFile>& parse) {
  const CRefCount<CIniFile> previous = m_current.Get();
  m_current.Set(parse);
  if (previous && !(*previous == *parse)) NotifyListeners();
}

void CIniSettings::NotifyListeners() {
  const QELAutoLock lock(m_cs);
  // By key, not by iterator: a listener may remove itself or others.
  for (auto next = m_listeners.begin(); next != m_listeners.end();) {
    ISettingsNotification* const listener = next->first;
    listener->OnSettingsChanged();
    next = m_listeners.upper_bound(listener);
  }
}

}  // namespace qel
