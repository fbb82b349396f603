// Any bytes as a picture: what is recognised is so by every way to read the bytes.
#include <cstring>

#include "fuzzing.h"
#include "image/image_type.h"
#include "transport/exceptions.h"

namespace {

// Gives out no more than one byte at a time.
class Trickle final : public ImageSource {
  public:
    explicit Trickle(std::span<const std::byte> bytes) : memory_(bytes) {}
    std::size_t read(void* buffer, std::size_t count) override {
        std::size_t total = 0;
        while (total < count && memory_.read(static_cast<char*>(buffer) + total, 1) == 1) ++total;
        return total;
    }
    bool seekable() override { return true; }
    void seek(std::uint64_t position) override { memory_.seek(position); }

  private:
    MemorySource memory_;
};

bool Detect(ImageSource& source, ImageInfo& info) {
    try {
        info = DetectImageType(source);
        return true;
    } catch (const Qel::invalid_input&) {
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MemorySource memory(Bytes(data, size));
    Trickle trickle(Bytes(data, size));
    ImageInfo first;
    ImageInfo second;
    const bool known = Detect(memory, first);
    Require(Detect(trickle, second) == known);
    if (!known) return 0;
    Require(first.name != nullptr && first.extension != nullptr);
    Require(std::strncmp(first.mime, "image/", 6) == 0);
    Require(first.width == second.width && first.height == second.height && first.depth == second.depth &&
            first.alpha == second.alpha && first.name == second.name);
    return 0;
}
