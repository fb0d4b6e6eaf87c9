#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QRandomGenerator>

/// The random numbers of tests.
namespace kit {

/// Where all of them start: what KXCORE_TEST_SEED says in the environment, or else the same number in every run. Each
/// test program prints it, so that a failure can be had again.
inline quint32 seed()
{
    static const quint32 value = [] {
        bool isNumber = false;
        const quint32 wanted = qgetenv("KXCORE_TEST_SEED").toUInt(&isNumber);
        return isNumber ? wanted : 20240607u;
    }();
    return value;
}

inline void printSeed() { qInfo("Random numbers start at KXCORE_TEST_SEED=%u", seed()); }

/// A generator that begins anew. Each @p sequence has numbers of its own.
inline QRandomGenerator random(quint32 sequence = 0)
{
    const quint32 seeds[] = { seed(), sequence };
    return QRandomGenerator(seeds);
}

} // namespace kit
