// For the programs of scripts/attack: random choices, which a seed repeats, and connections to a service.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "socket.h"

using bytes = std::vector<uint8_t>;

inline std::mt19937_64 chance;

inline size_t below(size_t limit) { return limit == 0 ? 0 : chance() % limit; }
inline bool one_in(size_t times) { return below(times) == 0; }
template <typename T, size_t N> T one_of(const T (&all)[N]) { return all[below(N)]; }
template <typename T> const T &one_of(const std::vector<T> &all) { return all[below(all.size())]; }

// Returns mostly numbers at some limit: of a scope, a length, a name or a word.
inline uint32_t any_word() {
    if (one_in(4)) return static_cast<uint32_t>(chance());
    if (one_in(4)) return UINT32_MAX - below(2);
    return one_of({0u,      1u,   2u,   3u,   4u,    6u,    7u,     10u,    16u,
                   20u,     80u,  81u,  82u,  83u,   84u,   96u,    97u,    127u,
                   128u,    255u, 256u, 352u, 4093u, 4094u, 65535u, 65536u, INT32_MAX + 0u,
                   1u << 31});
}

inline bytes any_bytes(size_t length) {
    bytes made(length);
    for (uint8_t &each : made) each = static_cast<uint8_t>(chance());
    return made;
}

// Returns big-endian words of that kind, as the records of the service have them.
inline bytes any_words(size_t length) {
    bytes made(length + sizeof(be32));
    for (size_t at = 0; at < length; at += sizeof(be32)) {
        const be32 word = any_word();
        memcpy(made.data() + at, &word, sizeof(word));
    }
    made.resize(length);
    return made;
}

// Returns none if the backlog is full, and ends the program if nobody listens.
inline vynd::unique_fd connected(const char *path) {
    vynd::unique_fd made;
    errno = vynd::connect_to(path, &made);
    if (errno != 0 && errno != EAGAIN) perror(path), exit(1);
    return made;
}
