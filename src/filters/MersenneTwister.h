#pragma once

#include <QtCore/qglobal.h>

/// How the words of the Mersenne Twister come about, one at a time.
namespace noise {

constexpr int size = 624; ///< words of the state
constexpr int distance = 397; ///< from a word to the one that goes into its successor
constexpr quint32 topBit = 0x80000000u, matrix = 0x9908B0DFu, mask7 = 0x9D2C5680u, mask15 = 0xEFC60000u;

/// The successor of word @p i of the state, from itself, the one after it and the one at the distance. In place: words
/// before it are successors already.
inline quint32 successor(const quint32 *state, int i)
{
    const quint32 next = state[(i + 1) % size], joined = (state[i] & topBit) | (next & ~topBit);
    return state[(i + distance) % size] ^ joined >> 1 ^ (next & 1 ? matrix : 0);
}

inline quint32 tempered(quint32 word)
{
    word ^= word >> 11;
    word ^= word << 7 & mask7;
    word ^= word << 15 & mask15;
    return word ^ word >> 18;
}

/// The next state, and the words that come of it.
inline void refill(quint32 *state, quint32 *words)
{
    for (int i = 0; i < size; ++i) {
        state[i] = successor(state, i);
        words[i] = tempered(state[i]);
    }
}

} // namespace noise
