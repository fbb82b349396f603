#include "host/pictures/png_canvas.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#define STBI_WRITE_NO_STDIO
#include <stb/stb_easy_font.h>
#include <stb/stb_image_write.h>

namespace host {

namespace {

constexpr int kFontScale = 2;
constexpr int kLineMiddle = 5;  // of the font's small letters, below the top of a line
constexpr int kChannels = 3;
static_assert(sizeof(Colour) == kChannels);

// A corner as the font gives it; four of them are a rectangle.
struct Corner {
    float x;
    float y;
    float z;
    std::uint8_t colour[4];
};

std::string InFont(std::string_view text) {
    std::string shown;
    for (const char letter : text) {
        const auto unit = static_cast<unsigned char>(letter);
        // The bytes behind the first of a character are part of its question mark.
        if (unit < 0x80) {
            shown += letter;
        } else if (unit >= 0xC0) {
            shown += '?';
        }
    }
    return shown;
}

}  // namespace

PngCanvas::PngCanvas(Size size)
    : size_(size), pixels_(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height)) {}

// What lies beyond the edges is left out.
void PngCanvas::Fill(Area area, Colour colour) {
    const int left = std::clamp(area.left, 0, size_.width);
    const int right = std::clamp(area.left + area.width, left, size_.width);
    const int top = std::clamp(area.top, 0, size_.height);
    const int bottom = std::clamp(area.top + area.height, top, size_.height);
    for (int y = top; y < bottom; ++y) {
        const auto row = pixels_.begin() + static_cast<std::ptrdiff_t>(y) * size_.width;
        std::fill(row + left, row + right, colour);
    }
}

void PngCanvas::Strokes(int left, std::span<const Stroke> strokes, Colour colour) {
    for (const Stroke& stroke : strokes) Fill({left++, stroke.top, 1, stroke.bottom - stroke.top}, colour);
}

void PngCanvas::Image(Area area, std::span<const Colour> pixels) {
    for (int y = 0; y < area.height; ++y) {
        const auto row = pixels.begin() + static_cast<std::ptrdiff_t>(y) * area.width;
        std::copy_n(row, area.width,
                    pixels_.begin() + static_cast<std::ptrdiff_t>(area.top + y) * size_.width + area.left);
    }
}

void PngCanvas::Text(int x, int y, Anchor anchor, Colour colour, std::string_view text) {
    std::string shown = InFont(text);
    const int width = TextWidth(text);
    const int left = anchor == Anchor::Start ? x : anchor == Anchor::Middle ? x - width / 2 : x - width;
    constexpr std::size_t kCornersPerLetter = 100;
    std::vector<Corner> corners(shown.size() * kCornersPerLetter);
    const int count = stb_easy_font_print(0, 0, shown.data(), nullptr, corners.data(),
                                          static_cast<int>(corners.size() * sizeof(Corner)));
    for (int index = 0; index < count; ++index) {
        const Corner& first = corners[static_cast<std::size_t>(index) * 4];
        const Corner& opposite = corners[static_cast<std::size_t>(index) * 4 + 2];
        const auto scaled = [](float length) { return static_cast<int>(length) * kFontScale; };
        Fill({left + scaled(first.x), y + scaled(first.y - kLineMiddle), scaled(opposite.x - first.x),
              scaled(opposite.y - first.y)},
             colour);
    }
}

int PngCanvas::TextWidth(std::string_view text) const {
    return stb_easy_font_width(InFont(text).data()) * kFontScale;
}

std::vector<std::byte> PngCanvas::Finish() {
    return PngFile(size_, pixels_);
}

std::vector<std::byte> PngFile(Size size, std::span<const Colour> pixels) {
    std::vector<std::byte> file;
    const auto append = [](void* context, void* data, int count) {
        const auto* const bytes = static_cast<const std::byte*>(data);
        auto& target = *static_cast<std::vector<std::byte>*>(context);
        target.insert(target.end(), bytes, bytes + count);
    };
    if (!stbi_write_png_to_func(append, &file, size.width, size.height, kChannels, pixels.data(),
                                size.width * kChannels)) {
        throw std::bad_alloc();
    }
    return file;
}

}  // namespace host
