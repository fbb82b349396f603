// A canvas that becomes an SVG file (https://www.w3.org/TR/SVG11/).
#pragma once

#include "host/pictures/canvas.h"

namespace host {

class SvgCanvas : public Canvas {
  public:
    explicit SvgCanvas(Size size);

    void Fill(Area area, Colour colour) override;
    void Strokes(int left, std::span<const Stroke> strokes, Colour colour) override;
    void Image(Area area, std::span<const Colour> pixels) override;
    void Text(int x, int y, Anchor anchor, Colour colour, std::string_view text) override;
    // A guess: the viewer chooses the font.
    int TextWidth(std::string_view text) const override;
    std::vector<std::byte> Finish() override;

  private:
    std::string text_;
};

}  // namespace host
