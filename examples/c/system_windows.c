#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

#include "system.h"

void* OpenLibrary(const char* path) {
    DecoderChar* wide = ToUtf16(path);
    if (wide == NULL) return NULL;
    HMODULE library = LoadLibraryW((const wchar_t*)wide);
    free(wide);
    return (void*)library;
}

void* FindSymbol(void* library, const char* name) {
    const FARPROC symbol = GetProcAddress((HMODULE)library, name);
    return (void*)(UINT_PTR)symbol;
}

/* [log] */
uint64_t OpenLog(const char* path) {
    DecoderChar* wide = ToUtf16(path);
    const HANDLE log = CreateFileW((const wchar_t*)wide, FILE_APPEND_DATA, FILE_SHARE_READ, NULL, OPEN_ALWAYS,
                                   FILE_ATTRIBUTE_NORMAL, NULL);
    free(wide);
    return (uint64_t)(uintptr_t)log; /* INVALID_HANDLE_VALUE is no log */
}
/* [log] */

/* [event] */
/* The quit event is a named event with manual reset. */
static wchar_t name[64];
static HANDLE quit;

static BOOL WINAPI OnControl(DWORD kind) {
    (void)kind;
    SetEvent(quit); /* all waits end */
    return TRUE;
}

const DecoderChar* MakeQuitEvent(void) {
    swprintf(name, sizeof name / sizeof *name, L"Local\\decode-example.%lu", GetCurrentProcessId());
    quit = CreateEventW(NULL, TRUE, FALSE, name);
    if (quit == NULL) return NULL;
    SetConsoleCtrlHandler(OnControl, TRUE);
    return (const DecoderChar*)name;
}

void RemoveQuitEvent(void) {
    CloseHandle(quit);
}
/* [event] */
