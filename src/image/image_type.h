// What an image file is, from its first bytes and without decoding it.
#pragma once

#include <cstdint>

#include "image/image_streams.h"

// The texts are static.
struct ImageInfo {
    std::uint32_t width = 0;   // pixels
    std::uint32_t height = 0;  // pixels
    std::uint32_t depth = 0;   // bits per pixel, as far as the format tells
    bool alpha = false;        // has, or may have, transparency
    const char* name = nullptr;
    const char* extension = nullptr;  // without a dot
    const char* mime = nullptr;
};

// Knows AVIF, HEIC, TIFF, ICO, JPEG, GIF, PNG, WebP, JPEG XL and BMP. Raises Qel::invalid_input for anything
// else and for a broken header, and Qel::user_abort when the thread's aborter is set. Needs no memory.
ImageInfo DetectImageType(ImageSource& stream);
