#include "host/pictures/svg_canvas.h"

#include <algorithm>
#include <cstdio>

#include "host/pictures/png_canvas.h"
#include "host/text/base64.h"

namespace host {

namespace {

constexpr int kFontSize = 16;

std::string Hex(Colour colour) {
    char text[8];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", colour.red, colour.green, colour.blue);
    return text;
}

std::string Attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + value + "\"";
}

std::string Attribute(const char* name, int value) {
    return Attribute(name, std::to_string(value));
}

std::string Place(Area area) {
    return Attribute("x", area.left) + Attribute("y", area.top) + Attribute("width", area.width) +
           Attribute("height", area.height);
}

// Without the two characters of a line that XML has no place for, U+FFFE and U+FFFF.
std::string XmlText(std::string_view text) {
    std::string escaped;
    std::string shown(text);
    for (const char* const none : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        for (std::size_t at = shown.find(none); at != std::string::npos; at = shown.find(none, at))
            shown.replace(at, 3, "?");
    }
    for (const char letter : shown) {
        switch (letter) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += letter;
        }
    }
    return escaped;
}

}  // namespace

SvgCanvas::SvgCanvas(Size size)
    : text_("<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\"" +
            Attribute("width", size.width) + Attribute("height", size.height) +
            Attribute("viewBox", "0 0 " + std::to_string(size.width) + " " + std::to_string(size.height)) +
            Attribute("font-family", "sans-serif") + Attribute("font-size", kFontSize) + ">\n") {}

void SvgCanvas::Fill(Area area, Colour colour) {
    text_ += "<rect" + Place(area) + Attribute("fill", Hex(colour)) + "/>\n";
}

void SvgCanvas::Strokes(int left, std::span<const Stroke> strokes, Colour colour) {
    text_ += "<path" + Attribute("stroke", Hex(colour)) + " d=\"";
    for (const Stroke& stroke : strokes) {
        text_ += "M" + std::to_string(left++) + ".5 " + std::to_string(stroke.top) + "V" +
                 std::to_string(stroke.bottom);
    }
    text_ += "\"/>\n";
}

void SvgCanvas::Image(Area area, std::span<const Colour> pixels) {
    const std::string data = "data:image/png;base64," + Base64(PngFile({area.width, area.height}, pixels));
    text_ += "<image" + Place(area) + Attribute("xlink:href", data) + "/>\n";
}

void SvgCanvas::Text(int x, int y, Anchor anchor, Colour colour, std::string_view text) {
    constexpr int kBelowMiddle = kFontSize * 35 / 100;  // where letters stand
    const char* const name = anchor == Anchor::Start ? "start" : anchor == Anchor::Middle ? "middle" : "end";
    text_ += "<text" + Attribute("x", x) + Attribute("y", y + kBelowMiddle) + Attribute("text-anchor", name) +
             Attribute("fill", Hex(colour)) + ">" + XmlText(text) + "</text>\n";
}

int SvgCanvas::TextWidth(std::string_view text) const {
    const auto isFirst = [](char unit) { return (unit & 0xC0) != 0x80; };
    return static_cast<int>(std::count_if(text.begin(), text.end(), isFirst)) * kFontSize * 6 / 10;
}

std::vector<std::byte> SvgCanvas::Finish() {
    text_ += "</svg>\n";
    const auto* const bytes = reinterpret_cast<const std::byte*>(text_.data());
    return {bytes, bytes + text_.size()};
}

}  // namespace host
