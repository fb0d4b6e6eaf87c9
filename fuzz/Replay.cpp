#include "Fuzz.h"

#include "kit/Random.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

void run(const QByteArray &input)
{
    // A buffer of exactly this size, so that a sanitizer sees every byte read behind it.
    const std::vector<uint8_t> bytes(input.begin(), input.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

bool writeSeeds(const QString &folder)
{
    int number = 0;
    for (const QByteArray &seed : FuzzSeeds()) {
        QFile file(QDir(folder).filePath(QString("seed%1").arg(number++)));
        if (!file.open(QIODevice::WriteOnly) || file.write(seed) != seed.size())
            return false;
    }
    return true;
}

} // namespace

/// Without arguments: each seed, cut off at up to 512 places, and with bytes changed in 512 ways.
/// With "--write FOLDER": writes the seeds there as files, for a fuzzer to start from.
int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "--write") == 0)
        return writeSeeds(QFile::decodeName(argv[2])) ? 0 : 1;

    kit::printSeed();
    QRandomGenerator random = kit::random();
    int inputs = 0;
    for (const QByteArray &seed : FuzzSeeds()) {
        run(seed);
        const int step = std::max(1, seed.size() / 512);
        for (int size = 0; size < seed.size(); size += step, ++inputs)
            run(seed.left(size));
        for (int round = 0; round < 512 && !seed.isEmpty(); ++round, ++inputs) {
            QByteArray damaged = seed;
            for (int change = random.bounded(1, 5); change > 0; --change) {
                // Headers and tables stand at the front, so half of the damage goes there.
                const int reach = random.bounded(2) ? std::min(seed.size(), 256) : seed.size();
                damaged[random.bounded(reach)] = char(random.bounded(256));
            }
            run(damaged);
        }
    }
    std::printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
