#include "cfitracelog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "cfierrormanager.h"
#include "cfisafefolder.h"

namespace frim_pdk_4_4 {

namespace {

char const* const kDefaultDirectory = "/var/log/hitachifi";

char const* envOrNull(char const* name) {
  char const* value = ::secure_getenv(name);
  return (value != nullptr && *value != '\0') ? value : nullptr;
}

// Creates every missing directory of `path` (mode 0755); existing ones are fine.
void makeDirectories(const std::string& path) {
  std::string partial;
  for (size_t i = 0; i < path.size(); ++i) {
    partial.push_back(path[i]);
    if ((path[i] == '/' && i > 0) || i + 1 == path.size()) {
      ::mkdir(partial.c_str(), 0755);
    }
  }
}

}  // namespace

CFiTraceLog::CFiTraceLog() { applyEnvironment(); }

CFiTraceLog::~CFiTraceLog() {
  if (m_fd >= 0) ::close(m_fd);
  m_errorManager.release();
  m_hostName.clear(true);
  m_path.clear(true);
  m_fileName.clear(true);
  m_directory.clear(true);
  m_name.clear(true);
}

void CFiTraceLog::applyEnvironment() {
  if (char const* dir = envOrNull("HITACHIFI_TRACE_DIR")) m_directory = dir;
  if (char const* file = envOrNull("HITACHIFI_TRACE_FILE")) m_fileName = file;
  if (char const* level = envOrNull("HITACHIFI_TRACE_LEVEL")) m_level = std::atoi(level);
}

void CFiTraceLog::initialize(const ACE_String_Base<char>& name, ACE_String_Base<char> directory,
                             ACE_String_Base<char> fileName, int level, bool toStderr) {
  closeFile();
  m_name = name;
  m_directory = directory.length() ? directory : ACE_String_Base<char>(kDefaultDirectory);
  m_fileName = fileName.length() ? fileName : name + ".log";
  m_level = level;
  m_toStderr = toStderr;
  char host[256] = {0};
  if (::gethostname(host, sizeof(host) - 1) == 0) m_hostName = host;
  applyEnvironment();
  m_initialized = true;
  m_openFailed = false;
}

void CFiTraceLog::setErrorManager(
    const CFiSmartPtr<CFiErrorManager, CFiContextSingletonAllocator<CFiErrorManager>>& manager) {
  m_errorManager = manager;
}

void CFiTraceLog::openFile() {
  if (m_fd >= 0 || m_openFailed) return;
  if (m_directory.length() == 0 || (!m_initialized && envOrNull("HITACHIFI_TRACE_DIR") == nullptr)) {
    m_openFailed = true;
    return;
  }
  std::string directory(m_directory.c_str());
  std::string file = m_fileName.length() ? m_fileName.c_str() : "hitachifi.log";
  m_openFailed = true;
  m_path.clear();
  // The file name comes from the caller or the environment: it names a file
  // in the folder, never one elsewhere.
  if (file.find('/') != std::string::npos || file == "." || file == "..") return;
  makeDirectories(directory);
  int folder = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return;
  // A process that may run as root writes no line into a folder another
  // user can change: a planted link would turn the trace into a write to
  // any file. Said once on standard error, since the trace cannot say it.
  const std::string unsafe = unsafeFolderReason(folder, directory);
  if (!unsafe.empty()) {
    ::close(folder);
    const std::string line =
        std::string(m_name.length() ? m_name.c_str() : "pdk") + ": no trace written: " + unsafe + "\n";
    ssize_t rc = ::write(STDERR_FILENO, line.data(), line.size());
    (void)rc;
    return;
  }
  m_fd = ::openat(folder, file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0644);
  ::close(folder);
  if (m_fd < 0) return;
  m_openFailed = false;
  m_path = (directory + "/" + file).c_str();
}

void CFiTraceLog::closeFile() {
  if (m_fd >= 0) ::close(m_fd);
  m_fd = -1;
  m_path.clear();
}

void CFiTraceLog::trace(int level, char const* format, ...) {
  if (!isEnabled(level)) return;
  va_list args;
  va_start(args, format);
  vtrace(level, format, args);
  va_end(args);
}

void CFiTraceLog::vtrace(int level, char const* format, va_list args) {
  if (!isEnabled(level) || format == nullptr) return;
  openFile();
  if (m_fd < 0 && !m_toStderr) return;

  struct timeval now;
  ::gettimeofday(&now, nullptr);
  struct tm local;
  ::localtime_r(&now.tv_sec, &local);

  std::string line(static_cast<size_t>(m_maxLineLength) + 1, '\0');
  size_t room = line.size();
  int used = std::snprintf(&line[0], room,
                           "%04d-%02d-%02d %02d:%02d:%02d.%03d [pid %d] L%d %s: ", local.tm_year + 1900,
                           local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                           static_cast<int>(now.tv_usec / 1000), static_cast<int>(::getpid()), level,
                           m_name.length() ? m_name.c_str() : "pdk");
  if (used < 0) return;
  size_t length = static_cast<size_t>(used) < room ? static_cast<size_t>(used) : room - 1;
  size_t bodyStart = length;
  int body = std::vsnprintf(&line[length], room - length, format, args);
  if (body > 0)
    length += static_cast<size_t>(body) < room - length ? static_cast<size_t>(body) : room - length - 1;
  line.resize(length);
  // One call, one line: texts from the array may carry line breaks, and
  // no text may carry a terminal's control sequence to whoever reads the
  // log. Every control byte becomes a blank, but the tab, which the
  // plugin's own record dumps are laid out with.
  for (size_t i = bodyStart; i < length; ++i) {
    const unsigned char byte = static_cast<unsigned char>(line[i]);
    if ((byte < 0x20 && byte != '\t') || byte == 0x7f) line[i] = ' ';
  }
  line.push_back('\n');

  // One write per line: with O_APPEND the kernel places it whole at the end.
  if (m_fd >= 0) {
    ssize_t rc;
    do {
      rc = ::write(m_fd, line.data(), line.size());
    } while (rc < 0 && errno == EINTR);
  }
  if (m_toStderr) {
    ssize_t rc = ::write(STDERR_FILENO, line.data(), line.size());
    (void)rc;
  }
}

}  // namespace frim_pdk_4_4
