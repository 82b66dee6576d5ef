// Child processes on Win32: CreateProcess into a job object that kills its processes when
// the job's last handle closes, that is when this process ends, however it ends. Each child
// leads a console process group of its own, so that Ctrl+Break reaches it alone.
#include "platform/process.h"

#include <windows.h>

#include <string>

namespace tavrel {

struct ChildProcess {
  HANDLE process;
  uint32_t pid;
};

namespace {

// One job for every child, kept open for the life of this process.
HANDLE children_job() {
  static HANDLE job = [] {
    HANDLE j = CreateJobObjectA(nullptr, nullptr);
    if (j != nullptr) {
      JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
      limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
      SetInformationJobObject(j, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }
    return j;
  }();
  return job;
}

// One argument as the C run-time's command-line parser reads it back: quoted when it holds
// blanks or quotes, with the backslashes before a quote doubled.
void append_argument(std::string& line, const char* arg) {
  const std::string text(arg);
  if (!line.empty()) line += ' ';
  if (!text.empty() && text.find_first_of(" \t\"") == std::string::npos) {
    line += text;
    return;
  }
  line += '"';
  size_t backslashes = 0;
  for (const char c : text) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    line.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
    backslashes = 0;
    line += c;
  }
  line.append(backslashes * 2, '\\');
  line += '"';
}

}  // namespace

int process_start(const char* program, const char* const* args, ChildProcess** out) {
  std::string line;
  for (const char* const* a = args; *a != nullptr; ++a) append_argument(line, *a);
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info{};
  // Suspended until it is in the job, so that not even its first instructions escape it.
  if (!CreateProcessA(program, line.data(), nullptr, nullptr, FALSE, CREATE_NEW_PROCESS_GROUP | CREATE_SUSPENDED,
                      nullptr, nullptr, &startup, &info)) {
    return static_cast<int>(GetLastError());
  }
  if (children_job() != nullptr) AssignProcessToJobObject(children_job(), info.hProcess);
  ResumeThread(info.hThread);
  CloseHandle(info.hThread);
  *out = new ChildProcess{info.hProcess, info.dwProcessId};
  return 0;
}

uint32_t process_pid(const ChildProcess* child) { return child->pid; }

bool process_wait(ChildProcess* child, int milliseconds, int* status) {
  const DWORD limit = milliseconds < 0 ? INFINITE : static_cast<DWORD>(milliseconds);
  if (WaitForSingleObject(child->process, limit) != WAIT_OBJECT_0) return false;
  DWORD code = 0;
  GetExitCodeProcess(child->process, &code);
  if (status != nullptr) *status = static_cast<int>(code);
  return true;
}

int process_interrupt(ChildProcess* child) {
  return GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, child->pid) ? 0 : static_cast<int>(GetLastError());
}

void process_end(ChildProcess* child) {
  if (child == nullptr) return;
  if (WaitForSingleObject(child->process, 0) == WAIT_TIMEOUT) {
    TerminateProcess(child->process, 1);
    WaitForSingleObject(child->process, INFINITE);
  }
  CloseHandle(child->process);
  delete child;
}

}  // namespace tavrel
