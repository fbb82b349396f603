// A canvas that becomes a PNG file.
#pragma once

#include "host/pictures/canvas.h"

namespace host {

class PngCanvas : public Canvas {
  public:
    explicit PngCanvas(Size size);

    void Fill(Area area, Colour colour) override;
    void Strokes(int left, std::span<const Stroke> strokes, Colour colour) override;
    void Image(Area area, std::span<const Colour> pixels) override;
    // Its font has the characters of ASCII; others become question marks.
    void Text(int x, int y, Anchor anchor, Colour colour, std::string_view text) override;
    int TextWidth(std::string_view text) const override;
    std::vector<std::byte> Finish() override;

  private:
    const Size size_;
    std::vector<Colour> pixels_;
};

// The file of a picture whose pixels these are, row by row. Throws std::bad_alloc.
std::vector<std::byte> PngFile(Size size, std::span<const Colour> pixels);

}  // namespace host
