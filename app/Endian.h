#pragma once
#include <cstdint>
#include <cstring>

namespace vesk3dapp {

inline bool hostIsBigEndian()
{
    const uint16_t probe = 1;
    unsigned char firstByte = 0;
    std::memcpy(&firstByte, &probe, 1);
    return firstByte == 0;
}

} // namespace vesk3dapp
