#include "filled.h"

namespace descriptions {

std::string Filled(std::string_view script, const std::vector<std::pair<std::string, std::string>>& values) {
    std::string text(script);
    for (const auto& [name, value] : values) {
        const std::string place = "@" + name + "@";
        for (std::size_t at = text.find(place); at != std::string::npos;
             at = text.find(place, at + value.size()))
            text.replace(at, place.size(), value);
    }
    return text;
}

}  // namespace descriptions
