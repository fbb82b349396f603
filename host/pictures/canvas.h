// What pictures are drawn on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace host {

struct Colour {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
};

// In pixels, from the left and upper edge.
struct Size {
    int width;
    int height;
};
struct Area {
    int left;
    int top;
    int width;
    int height;
};
// From `top` up to but not including `bottom`.
struct Stroke {
    int top;
    int bottom;
};

// Which part of a text stands at the place that is given for it.
enum class Anchor { Start, Middle, End };

class Canvas {
  public:
    virtual ~Canvas() = default;

    virtual void Fill(Area area, Colour colour) = 0;
    // Vertical strokes, a pixel wide, one beside the other.
    virtual void Strokes(int left, std::span<const Stroke> strokes, Colour colour) = 0;
    // A pixel for each of the area, row by row.
    virtual void Image(Area area, std::span<const Colour> pixels) = 0;
    // One line of UTF-8 without control characters, whose middle is at height `y`.
    virtual void Text(int x, int y, Anchor anchor, Colour colour, std::string_view text) = 0;
    // How much of a line it takes.
    virtual int TextWidth(std::string_view text) const = 0;

    // The bytes of the picture's file. Nothing may be drawn after it.
    virtual std::vector<std::byte> Finish() = 0;
};

}  // namespace host
