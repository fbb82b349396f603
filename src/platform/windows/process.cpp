#include "platform/process.h"

#include <memory>
#include <new>
#include <optional>

#include "platform/windows/from_utf8.h"
#include "platform/windows/handles.h"

namespace platform {

namespace {

using windows::FromUtf8;
using windows::Native;

constexpr std::array<DWORD, 3> kStandardHandles{STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
constexpr UINT kKilled = 0xFFFFFFFF;

// One blank between arguments; those with a blank inside get double quotes. Nothing is escaped.
std::string JoinArguments(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& argument : arguments) {
        if (!line.empty()) line += ' ';
        const bool quoted = argument.find(' ') != std::string::npos;
        if (quoted) line += '"';
        line += argument;
        if (quoted) line += '"';
    }
    return line;
}

// Nothing escapes these in a command line: behind them would stand what the text's author wants to be an
// argument.
bool EndsItsArgument(const std::string& argument) noexcept {
    return argument.find_first_of("\"\t") != std::string::npos;
}

// False when the child would get another program, folder or list of arguments than was meant.
bool ArrivesAsMeant(const ProcessStart& start) noexcept {
    using windows::BecomesAscii;
    if (BecomesAscii(start.exe) || BecomesAscii(start.workingDirectory)) return false;
    if (!start.rawCommandLine.empty()) return !BecomesAscii(start.rawCommandLine);
    return std::none_of(start.args.begin(), start.args.end(), [](const std::string& argument) {
        return EndsItsArgument(argument) || BecomesAscii(argument);
    });
}

HANDLE ChildHandle(const ChildChannel& channel, DWORD standard) noexcept {
    if (channel.mode == ChannelMode::Inherit) return GetStdHandle(standard);
    return channel.mode == ChannelMode::Pipe ? Native(channel.end) : INVALID_HANDLE_VALUE;
}

// What exactly the child inherits. The system takes neither an empty list nor one handle twice, and only
// handles that are inheritable.
class InheritedHandles {
  public:
    void Add(HANDLE handle) noexcept {
        DWORD flags = 0;
        if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return;
        if (!GetHandleInformation(handle, &flags) || (flags & HANDLE_FLAG_INHERIT) == 0) return;
        if (std::find(handles_.begin(), handles_.begin() + count_, handle) != handles_.begin() + count_)
            return;
        handles_[static_cast<std::size_t>(count_++)] = handle;
    }
    bool empty() const noexcept { return count_ == 0; }
    void* data() noexcept { return handles_.data(); }
    std::size_t bytes() const noexcept { return static_cast<std::size_t>(count_) * sizeof(HANDLE); }

  private:
    std::array<HANDLE, 3> handles_{};
    std::ptrdiff_t count_ = 0;
};

// Refers to the handles it was made of, which have to live as long.
class AttributeList {
  public:
    explicit AttributeList(InheritedHandles& handles) {
        SIZE_T bytes = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);
        memory_ = std::make_unique<std::byte[]>(bytes);
        auto* list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.get());
        if (!InitializeProcThreadAttributeList(list, 1, 0, &bytes)) return;
        list_ = list;
        if (UpdateProcThreadAttribute(list_, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                      handles.bytes(), nullptr, nullptr)) {
            usable_ = true;
        }
    }
    AttributeList(const AttributeList&) = delete;
    AttributeList& operator=(const AttributeList&) = delete;
    ~AttributeList() {
        if (list_ == nullptr) return;
        const DWORD code = ::GetLastError();
        DeleteProcThreadAttributeList(list_);
        ::SetLastError(code);
    }

    // Null, with the last error, when the system refused the list.
    LPPROC_THREAD_ATTRIBUTE_LIST get() const noexcept { return usable_ ? list_ : nullptr; }

  private:
    std::unique_ptr<std::byte[]> memory_;
    LPPROC_THREAD_ATTRIBUTE_LIST list_ = nullptr;
    bool usable_ = false;
};

// What a process handle of the seam points at: a process in a job of its own. The system ends it with the
// last handle to the job, and so with this process, which has the only one.
class Child {
  public:
    Child() noexcept : job_(CreateJobObjectW(nullptr, nullptr)) {
        LimitJob(JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        const DWORD code = ::GetLastError();
        // Whoever still runs goes on.
        LimitJob(0);
        if (process_ != nullptr) CloseHandle(process_);
        if (job_ != nullptr) CloseHandle(job_);
        ::SetLastError(code);
    }

    // The job nests in those that this process is in. Where the system doesn't nest jobs, or another one's
    // limits forbid it, the process stays as it is.
    void Take(HANDLE process) noexcept {
        process_ = process;
        if (job_ != nullptr) AssignProcessToJobObject(job_, process);
    }
    HANDLE process() const noexcept { return process_; }

  private:
    void LimitJob(DWORD flags) noexcept {
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = flags;
        if (job_ != nullptr)
            SetInformationJobObject(job_, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }

    HANDLE job_;
    HANDLE process_ = nullptr;
};

Child* AsChild(ProcessHandle process) noexcept {
    return reinterpret_cast<Child*>(static_cast<std::intptr_t>(process));
}

}  // namespace

ProcessHandle StartProcess(const ProcessStart& start) {
    if (!ArrivesAsMeant(start)) {
        ::SetLastError(ERROR_NO_UNICODE_TRANSLATION);
        return ProcessHandle::None;
    }
    STARTUPINFOEXW info{};
    info.StartupInfo.cb = sizeof info;
    info.StartupInfo.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW | STARTF_FORCEOFFFEEDBACK;
    info.StartupInfo.wShowWindow = SW_HIDE;
    HANDLE* const standard[] = {&info.StartupInfo.hStdInput, &info.StartupInfo.hStdOutput,
                                &info.StartupInfo.hStdError};
    InheritedHandles inherited;
    for (std::size_t i = 0; i < std::size(standard); ++i) {
        *standard[i] = ChildHandle(start.channels[i], kStandardHandles[i]);
        inherited.Add(*standard[i]);
    }
    // Without the list a child would inherit the pipes of every other one that is being started, and the end
    // of those would only come with its own.
    std::optional<AttributeList> attributes;
    if (!inherited.empty()) {
        info.lpAttributeList = attributes.emplace(inherited).get();
        if (info.lpAttributeList == nullptr) return ProcessHandle::None;
    }

    const std::u16string program = FromUtf8(start.exe);
    std::u16string line =
        FromUtf8(start.rawCommandLine.empty() ? JoinArguments(start.args) : start.rawCommandLine);
    const std::u16string folder = FromUtf8(start.workingDirectory);
    auto child = std::make_unique<Child>();
    PROCESS_INFORMATION made{};
    if (!CreateProcessW(start.exe.empty() ? nullptr : windows::Wide(program), windows::Wide(line), nullptr,
                        nullptr, !inherited.empty(), EXTENDED_STARTUPINFO_PRESENT, nullptr,
                        start.workingDirectory.empty() ? nullptr : windows::Wide(folder), &info.StartupInfo,
                        &made)) {
        return ProcessHandle::None;
    }
    child->Take(made.hProcess);
    CloseHandle(made.hThread);
    return static_cast<ProcessHandle>(reinterpret_cast<std::intptr_t>(child.release()));
}

bool WaitForProcess(ProcessHandle process, Milliseconds limit) noexcept {
    return WaitForSingleObject(AsChild(process)->process(), windows::WaitLimit(limit)) == WAIT_OBJECT_0;
}

EventHandle EndSignal(ProcessHandle process) noexcept {
    return windows::Wrapped<EventHandle>(AsChild(process)->process());
}

bool ExitCode(ProcessHandle process, std::int32_t& code) noexcept {
    // A process that runs has a code too, which another one may have ended with.
    DWORD number = 0;
    if (!WaitForProcess(process, 0) || !GetExitCodeProcess(AsChild(process)->process(), &number))
        return false;
    code = static_cast<std::int32_t>(number);
    return true;
}

void KillProcess(ProcessHandle process) noexcept {
    TerminateProcess(AsChild(process)->process(), kKilled);
}

void ReleaseProcess(ProcessHandle process) noexcept {
    delete AsChild(process);
}

}  // namespace platform
