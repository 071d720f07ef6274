// Scratch memory of one call: array new, freed by its owner on every path.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace ff {

template <class T>
using scratch = std::unique_ptr<T[]>;

// a * b elements, uninitialised. std::bad_alloc when they do not fit or are not to be had;
// negative counts do not fit.
template <class T>
scratch<T> make_scratch(std::ptrdiff_t a, std::ptrdiff_t b = 1) {
    constexpr std::ptrdiff_t most = PTRDIFF_MAX / std::ptrdiff_t(sizeof(T));
    if (a < 0 || b < 0 || (b > 0 && a > most / b)) throw std::bad_alloc();
    return scratch<T>(new T[std::size_t(a) * std::size_t(b)]);
}

}  // namespace ff
