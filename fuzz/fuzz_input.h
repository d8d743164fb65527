// Reads fuzz bytes as the arguments a caller may pass.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fenxi/fenxi.h"

namespace fenxi_fuzz {

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    // The next sizeof(T) bytes, or zero when they have run out.
    template <class T>
    T Take() {
        T v{};
        if (pos_ + sizeof(T) <= size_) std::memcpy(&v, data_ + pos_, sizeof(T));
        pos_ = std::min(size_, pos_ + sizeof(T));
        return v;
    }

    // A short NUL-terminated code.
    std::string Code() {
        const std::size_t length = Take<std::uint8_t>() % 12;
        std::string s;
        for (std::size_t k = 0; k < length; ++k) s += static_cast<char>(Take<std::uint8_t>() | 1);
        return s;
    }

    // Every remaining whole 48-byte record as a bar, any field values.
    std::vector<UNIKDATA> Bars(std::size_t most) {
        std::vector<UNIKDATA> bars(std::min(most, (size_ - pos_) / sizeof(UNIKDATA)));
        if (!bars.empty()) std::memcpy(bars.data(), data_ + pos_, bars.size() * sizeof(UNIKDATA));
        pos_ += bars.size() * sizeof(UNIKDATA);
        return bars;
    }

    // A bar count: the number of bars, or zero or a negative count.
    int Count(std::uint8_t mode, std::size_t bars) const {
        switch (mode % 4) {
            case 0: return -static_cast<int>(mode);
            case 1: return 0;
            default: return static_cast<int>(bars);
        }
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
};

}  // namespace fenxi_fuzz
