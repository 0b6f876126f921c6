#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process with `text` when `expression` is false, in release builds too.
///
/// For our own mistakes only: nothing that a peer, a user or the network does may reach one.
#define OVELO_ASSERT(expression, text)                                                             \
    do {                                                                                           \
        if (!(expression)) {                                                                       \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, text);                         \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)
