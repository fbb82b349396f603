/* UTF-8 to UTF-16 and back. */
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "system.h"

DecoderChar* ToUtf16(const char* utf8) {
    const size_t length = strlen(utf8);
    DecoderChar* wide = malloc((length + 1) * sizeof *wide); /* never more units than bytes */
    if (wide == NULL) return NULL;
    size_t units = 0;
    for (size_t i = 0; i < length;) {
        const unsigned char lead = (unsigned char)utf8[i];
        const size_t bytes = lead < 0x80       ? 1
                             : lead >> 5 == 6  ? 2
                             : lead >> 4 == 14 ? 3
                             : lead >> 3 == 30 ? 4
                                               : 0;
        if (bytes == 0 || bytes > length - i) goto broken;
        uint32_t c = bytes == 1 ? lead : lead & (0x7Fu >> bytes);
        for (size_t k = 1; k < bytes; ++k) {
            if ((utf8[i + k] & 0xC0) != 0x80) goto broken;
            c = c << 6 | ((unsigned char)utf8[i + k] & 0x3Fu);
        }
        if (c >= 0x10000) {
            wide[units++] = (DecoderChar)(0xD800 + ((c - 0x10000) >> 10));
            c = 0xDC00 + ((c - 0x10000) & 0x3FF);
        }
        wide[units++] = (DecoderChar)c;
        i += bytes;
    }
    wide[units] = 0;
    return wide;
broken:
    free(wide);
    return NULL;
}

void PrintText(FILE* file, const DecoderChar* text) {
    for (size_t i = 0; text[i] != 0; ++i) {
        uint32_t c = text[i];
        if ((c & 0xFC00) == 0xD800 && (text[i + 1] & 0xFC00) == 0xDC00)
            c = 0x10000 + ((c & 0x3FF) << 10) + (text[++i] & 0x3FFu);
        if (c < 0x80) {
            fputc((int)c, file);
            continue;
        }
        if (c >= 0x10000) fputc((int)(0xF0 | c >> 18), file);
        if (c >= 0x10000) fputc((int)(0x80 | (c >> 12 & 0x3F)), file);
        if (c >= 0x800 && c < 0x10000) fputc((int)(0xE0 | c >> 12), file);
        fputc((int)(c >= 0x800 ? 0x80 | (c >> 6 & 0x3F) : 0xC0 | c >> 6), file);
        fputc((int)(0x80 | (c & 0x3F)), file);
    }
}
