/* tests/host/tlv/tlv_hex.h: bytes written as hexadecimal digits, with blanks where it helps the eye. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using bytes = std::vector<uint8_t>;

inline bytes from_hex(std::string hex) {
    std::erase(hex, ' ');
    bytes out;
    for (size_t i = 0; i < hex.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
}
