// The fuzz targets' property check: a broken property stops the run the way a sanitizer report
// does (libFuzzer saves the input as a crash), with one line saying what broke.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition, ...)                                                  \
    do {                                                                            \
        if (!(condition)) {                                                         \
            std::fprintf(stderr, "fuzz property failed: %s: ", #condition);         \
            std::fprintf(stderr, __VA_ARGS__);                                      \
            std::fputc('\n', stderr);                                               \
            std::abort();                                                           \
        }                                                                           \
    } while (0)
