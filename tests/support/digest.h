// FNV-1a over the bytes of sequences, to pin results that must be the same on every machine.
#pragma once

#include <cstdint>
#include <vector>

struct Digest {
    template <class T>
    void add(const std::vector<T>& values) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(values.data());
        for (std::size_t i = 0; i < values.size() * sizeof(T); ++i)
            value = (value ^ bytes[i]) * 1099511628211u;
    }
    std::uint64_t value = 14695981039346656037u;
};
