// Sets the named event of its first argument, as another process of a host would.
#include "platform/codepage.h"
#include "platform/event.h"

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const platform::EventHandle event =
        platform::OpenNamedSignal(platform::ToWide(platform::CodePage::Utf8, arguments[1]));
    if (event == platform::EventHandle::None) return 1;
    platform::SetSignal(event);
    return 0;
}
