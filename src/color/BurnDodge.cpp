#include "KXBurnCorrection.h"
#include "KXDodgeCorrection.h"

#include "Tables.h"

#include <algorithm>
#include <cmath>

using arithmetic::truncate, color::perByte, color::sameTables;

void KXBurnCorrection::SetData(double amount, RangeType range)
{
    switch (range) {
    case Shadows:
        m_Tables = sameTables([=](int i) { // of a value below 1 not the low byte, but 0
            return std::max(truncate((1.0 - std::exp(1.0 - i * perByte)) * amount * 255.0 + i + 0.5), 0);
        });
        break;
    case Midtones:
        m_Tables = sameTables([=](int i) {
            const double x = i * perByte;
            return std::min(truncate((x - std::sin(x * 3.141592653589793) * (amount * 0.25)) * 255.0 + 0.5), 255);
        });
        break;
    case Highlights:
        m_Tables = sameTables([=](int i) { return std::min(truncate(i * (1.0 - amount * 0.75) + 0.5), 255); });
        break;
    }
}

void KXDodgeCorrection::SetData(double amount, RangeType range)
{
    const double half = amount * 0.5, quarter = amount * 0.25;
    switch (range) {
    case Shadows:
        m_Tables = sameTables(
            [=](int i) { return std::min(truncate((i * perByte * (1.0 - half) + half) * 255.0 + 0.5), 255); });
        break;
    case Midtones:
        m_Tables = sameTables([=](int i) { // pi / 255
            return std::min(truncate(std::sin(i * 0.012319971190548208) * quarter * 255.0 + i + 0.5), 255);
        });
        break;
    case Highlights:
        m_Tables = sameTables(
            [=](int i) { return std::min(truncate((std::exp(i * perByte) - 1.0) * amount * 255.0 + i + 0.5), 255); });
        break;
    }
}
