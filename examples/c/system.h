/* The few things that differ between Linux and Windows, for the example beside this file. Text is UTF-8. */
#ifndef EXAMPLE_SYSTEM_H
#define EXAMPLE_SYSTEM_H

#include <stdio.h>

#include "decoder_plugin.h"

/* A library that stays loaded; NULL on failure. */
void* OpenLibrary(const char* path);
void* FindSymbol(void* library, const char* name);

/* Allocated; NULL when the text is no UTF-8 or memory is out. */
DecoderChar* ToUtf16(const char* utf8);
void PrintText(FILE* file, const DecoderChar* text);

/* A log that is written on at its end and stays open, as the plug-in wants it; a value for "none" when it
 * can't be opened. */
uint64_t OpenLog(const char* path);

/* Makes the event that Ctrl-C sets, and gives its name, which lives as long as the program; NULL on failure.
 */
const DecoderChar* MakeQuitEvent(void);
void RemoveQuitEvent(void);

#endif
