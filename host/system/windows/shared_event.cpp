#include "host/system/shared_event.h"

#include <windows.h>

#include <system_error>

namespace host::system {

SharedEvent::SharedEvent(const std::filesystem::path&) {
    static int count = 0;
    const std::string name =
        "decoder check " + std::to_string(GetCurrentProcessId()) + " " + std::to_string(++count);
    name_.assign(name.begin(), name.end());
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, name.c_str());
    if (event == nullptr) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "can't make an event");
    }
    handle_ = reinterpret_cast<std::intptr_t>(event);
}

SharedEvent::~SharedEvent() {
    CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

void SharedEvent::Reset() const {
    ResetEvent(reinterpret_cast<HANDLE>(handle_));
}

bool SharedEvent::SetByName(const std::u16string& name) {
    const HANDLE event =
        OpenEventW(EVENT_MODIFY_STATE, FALSE, std::wstring(name.begin(), name.end()).c_str());
    if (event == nullptr) return false;
    const bool done = SetEvent(event) != 0;
    CloseHandle(event);
    return done;
}

}  // namespace host::system
