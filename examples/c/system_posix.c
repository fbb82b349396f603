#define _POSIX_C_SOURCE 200809L
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "system.h"

void* OpenLibrary(const char* path) {
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(void* library, const char* name) {
    return dlsym(library, name);
}

/* [log] */
uint64_t OpenLog(const char* path) {
    const int log = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    return (uint64_t)(int64_t)log; /* -1 is no log */
}
/* [log] */

/* [event] */
/* The quit event is a FIFO; it is set while it holds a byte. */
static char fifo[64];
static DecoderChar name[64];
static int quit = -1;

static void OnSignal(int number) {
    (void)number;
    const ssize_t ignored = write(quit, "", 1); /* allowed in a signal handler; all waits end */
    (void)ignored;
}

const DecoderChar* MakeQuitEvent(void) {
    const int length = snprintf(fifo, sizeof fifo, "/dev/shm/decode-example.%ld", (long)getpid());
    for (int i = 0; i <= length; ++i) name[i] = (DecoderChar)fifo[i];
    if (mkfifo(fifo, 0600) != 0) return NULL;
    quit = open(fifo, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (quit < 0) return NULL;
    struct sigaction action = {0};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, NULL);
    return name;
}

void RemoveQuitEvent(void) {
    unlink(fifo); /* whoever made it removes it */
    close(quit);
}
/* [event] */
