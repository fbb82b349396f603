// A host that goes on calling the plug-in while it exits.
//
// exiting_host PLUGIN AUDIO WAY [LOG]: the WAY is "static" (an object that was there before the plug-in was
// loaded decodes once more and closes in its destructor), "atexit" (a handler that was registered before
// does), or "threads" (threads go on decoding while main returns). The exit code is 0 when all calls gave
// what they should.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "decoder_plugin.h"

namespace {

DecoderCreateFunction createDecoder;
DecoderDestroyFunction destroyDecoder;
DecoderOpenFunction openFile;
DecoderCloseFunction closeRun;
DecoderDecodeBlockFunction decodeBlock;
DecoderSetPositionFunction setPosition;

DecoderCreateInfo logs;
char16_t audio[4096];

void Load(const char* path) {
    void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) _exit(2);
    createDecoder = reinterpret_cast<DecoderCreateFunction>(dlsym(library, DECODER_EXPORT_CREATE));
    destroyDecoder = reinterpret_cast<DecoderDestroyFunction>(dlsym(library, DECODER_EXPORT_DESTROY));
    openFile = reinterpret_cast<DecoderOpenFunction>(dlsym(library, DECODER_EXPORT_OPEN));
    closeRun = reinterpret_cast<DecoderCloseFunction>(dlsym(library, DECODER_EXPORT_CLOSE));
    decodeBlock = reinterpret_cast<DecoderDecodeBlockFunction>(dlsym(library, DECODER_EXPORT_DECODE_BLOCK));
    setPosition = reinterpret_cast<DecoderSetPositionFunction>(dlsym(library, DECODER_EXPORT_SET_POSITION));
}

void Must(bool good) {
    if (!good) _exit(3);
}

void OpenAndDecode(Decoder* decoder) {
    DecoderOpenInfo info{};
    info.path = audio;
    info.flags = DECODER_OPEN_TAGS | DECODER_OPEN_INFO;
    Must(openFile(decoder, &info) == 1);
    DecoderBlockInfo block{};
    Must(decodeBlock(decoder, &block) == 1 && block.bytes > 0);
}

Decoder* owned;

void EndLate() {
    if (owned == nullptr) return;
    DecoderBlockInfo block{};
    Must(decodeBlock(owned, &block) == 1 && block.bytes > 0);
    Must(setPosition(owned, 0) == 1);
    Must(closeRun(owned) == 1);
    OpenAndDecode(owned);
    Must(closeRun(owned) == 1);
    Must(destroyDecoder(owned) == 1);
}

bool endInDestructor;
bool waitInDestructor;

struct Host {
    ~Host() {
        if (endInDestructor) EndLate();
        if (waitInDestructor) std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
} host;

std::atomic<int> rounds;

void DecodeForEver() {
    Decoder* const decoder = createDecoder(&logs);
    for (;;) {
        OpenAndDecode(decoder);
        Must(closeRun(decoder) == 1);
        ++rounds;
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 4) return 2;
    const std::string way = arguments[3];
    const std::string path = arguments[2];
    for (std::size_t i = 0; i < path.size() && i + 1 < sizeof audio / sizeof audio[0]; ++i) {
        audio[i] = static_cast<unsigned char>(path[i]);
    }
    if (count > 4) {
        logs.traceLog = static_cast<std::uint64_t>(open(arguments[4], O_WRONLY | O_CREAT | O_APPEND, 0600));
    }
    if (way == "atexit") std::atexit(EndLate);
    Load(arguments[1]);
    if (way == "threads") {
        waitInDestructor = true;
        for (int i = 0; i < 4; ++i) std::thread(DecodeForEver).detach();
        while (rounds < 4) std::this_thread::yield();
        return 0;
    }
    endInDestructor = way == "static";
    owned = createDecoder(&logs);
    OpenAndDecode(owned);
    return 0;
}
