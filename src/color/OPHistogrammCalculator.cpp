#include "OPHistogrammCalculator.h"

#include "support/Arithmetic.h"
#include "support/ThreadSanitizer.h"

#include <QtCore/QMutexLocker>

#include <cstdlib>
#include <numeric>

OPHistogrammCalculator::OPHistogrammCalculator(const OPHistogrammCalculator &other)
    : m_HistR(other.m_HistR)
    , m_HistG(other.m_HistG)
    , m_HistB(other.m_HistB)
    , m_HistAll(other.m_HistAll)
{
}

void OPHistogrammCalculator::SetOutput(int *red, int *green, int *blue, int *all)
{
    m_HistR = red;
    m_HistG = green;
    m_HistB = blue;
    m_HistAll = all;
}

void OPHistogrammCalculator::operator()(const OPRGBA32i &pixel) const
{
    Q_ASSERT(m_HistR && m_HistG && m_HistB && m_HistAll);
    const auto count = [](int *histogram, int value) {
        histogram[value] = arithmetic::wrappingAdd(histogram[value], 1);
    };
    const QMutexLocker lock(&m_Mutex);
    support::takeOver(&m_Mutex);
    count(m_HistR, pixel.r);
    count(m_HistG, pixel.g);
    count(m_HistB, pixel.b);
    for (const int value : { pixel.r, pixel.g, pixel.b })
        count(m_HistAll, value);
    support::handOver(&m_Mutex);
}

namespace {

template <class Counter>
std::vector<int> rangeOf(const Counter *histogram)
{
    Q_ASSERT(histogram);
    constexpr int narrowest = 16;
    const double limit = double(std::accumulate(histogram, histogram + 256, qint64(0))) * 0.001;
    int low = 0, high = 255;
    qint64 sum = 0;
    for (int i = 0; i < 256 && double(sum += histogram[i]) <= limit; ++i)
        low = i;
    sum = 0;
    for (int i = 255; i >= 0 && double(sum += histogram[i]) <= limit; --i)
        high = i;
    if (std::abs(high - low) < narrowest) {
        const int middle = (low + high) / 2, half = narrowest / 2;
        const int centre = middle < half ? half : middle + half > 255 ? 255 - half : middle;
        low = centre - half;
        high = centre + half;
    }
    return { low, high };
}

} // namespace

std::vector<int> OPHistogrammCalculator::Threshold(int *histogram) { return rangeOf(histogram); }

std::vector<int> OPHistogrammCalculator::Threshold(const unsigned int *histogram) { return rangeOf(histogram); }
