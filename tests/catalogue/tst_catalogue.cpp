#include "OPTransformImageColors.h"
#include "catalogue/Inputs.h"
#include "color/Blocks.h"
#include "kit/Kernels.h"
#include "kit/Layers.h"
#include "support/Workers.h"

#include <set>

using catalogue::Kind;
using catalogue::Operation;
using catalogue::Variant;
using inputs::Count;
using inputs::salted;
using kit::Picture;

namespace {

const QRect selections[] = { QRect(), QRect(40, 30, 90, 70), QRect(-20, 100, 100, 200), QRect(500, 500, 10, 10) };
const QSize size(270, 140); // more than a tile each way

Picture result(const Variant &variant, const catalogue::Input &input)
{
    Count count;
    return Picture::of(variant.run(input, count.watch()));
}

} // namespace

/// What every operation promises, over the whole catalogue: a new entry is tested the day it is made.
class TestCatalogue : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        loadAVX2Functions(true);
        std::set<std::string> names, signatures;
        QStringList kernels;
#define KX_KERNEL(symbol, ...) kernels << #symbol;
#include "support/KernelList.h"
#undef KX_KERNEL
        for (const Operation &operation : catalogue::operations()) {
            QVERIFY2(names.insert(operation.name).second, operation.name.c_str());
            QVERIFY2(operation.signature.empty() || signatures.insert(operation.signature).second,
                operation.signature.c_str());
            QVERIFY2(!operation.variants.empty() && !operation.summary.empty(), operation.name.c_str());
            for (const QString &kernel : QString::fromStdString(operation.kernel).split(", ", Qt::SkipEmptyParts))
                QVERIFY2(kernels.contains(kernel), qPrintable(kernel));
        }
        QCOMPARE(catalogue::operations(Kind::Mode).size(), size_t(KXCompositionModes().size()));
        everyClassIsListed();
    }

    /// Through a kernel, pixel by pixel and as a copy: the same pixels. A block form without a kernel changes none.
    void adjustmentsOfPixels_data() { variants({ Kind::Adjustment }); }
    void adjustmentsOfPixels()
    {
        const auto &[operation, variant] = current();
        const auto made = variant->make(), copy = variant->makeCopy();
        QCOMPARE(copy->HasKernel(), made->HasKernel());
        QCOMPARE(made->HasKernel(), !operation->kernel.empty() && AVX2LIB::Instance());
        auto random = kit::random();
        for (int round = 0; round < 40; ++round) {
            const int x = random.bounded(3000), y = random.bounded(2000);
            kit::Line pixels, single, copied;
            for (int i = 0; i < blocks::length; ++i) {
                pixels.push_back(kit::saltedPixel(random));
                single.push_back(kit::after(*made, pixels.back(), x + i, y));
                copied.push_back(kit::after(*copy, pixels.back(), x + i, y));
            }
            VERIFY_SAME_AT(kit::difference(copied.data(), single), "copy");
            VERIFY_SAME_AT(kit::blockDifference(*made, pixels, x, y), QString("round %1").arg(round));
        }
    }

    /// An adjustment layer is the adjusted picture, composed.
    void adjustmentLayers_data() { variants({ Kind::Adjustment }); }
    void adjustmentLayers()
    {
        if (!AVX2LIB::Instance())
            QSKIP("only the kernel module composes through adjustments");
        const auto &[operation, variant] = current();
        if (operation->promises.dependsOnPosition)
            QSKIP("its pixels have no position in a layer");
        const auto adjustment = variant->make();
        for (int storages = 0; storages < 4; ++storages) {
            const bool tiled = storages & 1, onTiles = storages & 2;
            kit::Layers layers(size, tiled, onTiles), adjusted = layers;
            const Picture before = Picture::of(layers.source);
            Picture after = before;
            for (OPRGBA32i &pixel : after.pixels)
                (*adjustment)(pixel);
            adjusted.source = after.image(tiled);
            for (const kit::Form form : kit::forms) {
                if (onTiles && (form == kit::Clipped || form == kit::TwoMasks))
                    continue; // not served
                const kit::Call call { form, QRect(-3, 2, 260, 170), KXCompositionMode::SoftLight, 0.7, false };
                const Picture composed = kit::composed(call, layers, adjustment.get());
                VERIFY_SAME_AT(kit::difference(composed, kit::composed(call, adjusted)), QString::number(form));
                QVERIFY(!kit::difference(composed, Picture::of(layers.start)).isEmpty());
            }
            COMPARE_PICTURE(Picture::of(layers.source), before);
        }
    }

    /// What an entry promises holds for all its parameters, and what it does not promise does not hold for all.
    void promises_data()
    {
        QTest::addColumn<int>("operation");
        const auto &all = catalogue::operations();
        for (size_t i = 0; i < all.size(); ++i)
            QTest::newRow(all[i].name.c_str()) << int(i);
    }
    void promises()
    {
        if (workers::hardware() < 2)
            QSKIP("walks do nothing on a single processor");
        const Operation &operation = catalogue::operations()[size_t(*fetched("operation"))];
        QString alpha, storage, position; // where they first make a difference
        const auto keepFirst = [](QString &first, const QString &found) { first = first.isEmpty() ? found : first; };
        for (const Variant &variant : operation.variants)
            for (const QRect &selected : selections) {
                for (const QSize &none : { QSize(0, 0), QSize(1, 0), QSize(0, 5) }) // stays what it is
                    for (const bool tiled : { false, true }) {
                        const QSize made = result(variant, salted(none, tiled, selected)).rect().size();
                        QVERIFY(made == none || (operation.kind == Kind::Resizing && made.isEmpty()));
                    }
                const catalogue::Input input = salted(size, false, selected);
                const Picture before = Picture::of(input.image), after = result(variant, input);
                Picture beforeUnderNewAlpha = after.rect() == before.rect() ? before : after;
                for (size_t i = 0; i < after.pixels.size(); ++i)
                    beforeUnderNewAlpha.pixels[i].a = after.pixels[i].a;
                keepFirst(alpha, kit::difference(beforeUnderNewAlpha, before));
                keepFirst(storage, kit::difference(result(variant, salted(size, true, selected)), after));
                if (variant.make && operation.promises.dependsOnPosition) {
                    const auto made = variant.make();
                    Picture there = before, elsewhere = before;
                    for (size_t i = 0; i < before.pixels.size(); ++i) {
                        (*made)(0, 0, there.pixels[i]);
                        (*made)(int(i) % size.width(), int(i) / size.width(), elsewhere.pixels[i]);
                    }
                    keepFirst(position, kit::difference(elsewhere, there));
                }
                if (operation.kind != Kind::Filter)
                    break; // only filters look at selections
            }
        QVERIFY2(alpha.isEmpty() == operation.promises.keepsAlpha, qPrintable("alpha: " + alpha));
        QVERIFY2(storage.isEmpty() != operation.promises.needsFlat, qPrintable("flat and tiled: " + storage));
        QVERIFY2(position.isEmpty() != operation.promises.dependsOnPosition, qPrintable("position: " + position));
    }

    /// As many steps as the range said, and after a cancel still a whole image.
    void progress_data() { variants({ Kind::Adjustment, Kind::Filter }); }
    void progress()
    {
        const auto &[operation, variant] = current();
        for (const QRect &selected : selections)
            for (const bool tiled : { false, true }) {
                Count whole;
                variant->run(salted(size, tiled, selected), whole.watch());
                QCOMPARE(whole.steps.load(), whole.maximum);
                for (const int step : { 0, 1, whole.maximum / 2, whole.maximum }) {
                    Count count;
                    count.cancelAt = step;
                    count.cancel = step == 0;
                    const RGBA32iImage image = variant->run(salted(size, tiled, selected), count.watch());
                    // Each worker finishes at most the line that it is at.
                    const int most = step == 0 ? 0 : std::min(step + workers::hardware(), whole.maximum);
                    QVERIFY(count.steps >= std::min(step, whole.maximum) && count.steps <= most);
                    QCOMPARE(count.maximum, whole.maximum);
                    QCOMPARE(image.IsTiled(), tiled);
                    QCOMPARE(Picture::of(image).rect(), QRect(QPoint(), size));
                }
            }
    }

    /// Streams: what is written is read again, in every form; what is cut off is refused, and gives the defaults.
    void streams_data() { variants({ Kind::Filter }); }
    void streams()
    {
        const Operation *const operation = current().first;
        const Variant *const variant = current().second; // no binding: lambdas take it
        for (const auto order : { QDataStream::BigEndian, QDataStream::LittleEndian })
            for (const auto precision : { QDataStream::SinglePrecision, QDataStream::DoublePrecision }) {
                const auto setUp = [=](QDataStream &stream) {
                    stream.setByteOrder(order);
                    stream.setFloatingPointPrecision(precision);
                };
                const auto written = [&](const catalogue::ParamsValue &params) {
                    QByteArray bytes;
                    QDataStream stream(&bytes, QIODevice::WriteOnly);
                    setUp(stream);
                    params.StreamOut(stream);
                    return bytes;
                };
                const auto reads = [&](const QByteArray &bytes, catalogue::ParamsValue &params) {
                    QDataStream stream(bytes);
                    setUp(stream);
                    return params.Read(stream);
                };
                const QByteArray bytes = written(*variant->params());
                QVERIFY(bytes.startsWith(operation->signature.c_str()));
                const auto other = operation->variants.back().params();
                QVERIFY(reads(bytes, *other) && reads(bytes + "more", *other));
                QCOMPARE(written(*other), bytes);

                const kit::LogCapture log;
                const QByteArray defaults = [&] { // what reading nothing leaves
                    const auto params = variant->params();
                    QDataStream stream { QByteArray() };
                    params->StreamIn(stream);
                    return written(*params);
                }();
                for (int size = 0; size < bytes.size(); ++size) {
                    const auto params = variant->params();
                    QVERIFY(!reads(bytes.left(size), *params));
                    if (size < int(operation->signature.size())) { // nothing is stored
                        QByteArray damaged = bytes;
                        damaged[size] = char(damaged[size] ^ 0x20);
                        QVERIFY(!reads(damaged, *params));
                        QCOMPARE(written(*params), bytes);
                    }
                    QDataStream stream(bytes.left(size));
                    setUp(stream);
                    params->StreamIn(stream);
                    QCOMPARE(written(*params), defaults);
                }
                QCOMPARE(log.texts().size(), bytes.size() + 1);
            }
    }

    /// The same bytes on one, two and eight processors, with the module and without it.
    void machines()
    {
        if (qEnvironmentVariableIsSet("KXCORE_TEST_MODULE") || qEnvironmentVariableIsSet("KXCORE_TEST_PROCESSORS"))
            QSKIP("tried once, in every way");
        const QStringList two = digests("", 2);
        int lines = 0;
        for (const Operation &operation : catalogue::operations())
            lines += (operation.kind == Kind::Filter ? 2 : 1) * int(operation.variants.size());
        QCOMPARE(two.size(), lines);
        QCOMPARE(digests("none", 2), two);
        for (const char *module : { "", "none" }) {
            QCOMPARE(digests(module, 8), two);
            const QStringList one = digests(module, 1);
            QCOMPARE(one.size(), two.size());
            std::set<QString> others; // the operations that make something else
            for (int i = 0; i < two.size(); ++i)
                if (one[i] != two[i])
                    others.insert(two[i].section('\t', 0, 0));
            for (const Operation &operation : catalogue::operations())
                QVERIFY2(operation.promises.needsTwoProcessors == (others.count(operation.name.c_str()) > 0),
                    operation.name.c_str());
        }
    }

    void page()
    {
        QProcess program;
        program.start(OPERATIONS, QStringList());
        QVERIFY(program.waitForFinished());
        QFile page(PAGE);
        QVERIFY(page.open(QIODevice::ReadOnly));
        QVERIFY2(page.readAll() == program.readAllStandardOutput(),
            "docs/operations.md is out of date: build/release/bin/kxcore_operations >docs/operations.md");
    }

private:
    /// Every public class that is an adjustment or a filter, and no base of others, has an entry.
    void everyClassIsListed()
    {
        std::set<QString> listed { "OPUniformNoise", "OPGaussianNoise" }; // see Operation.h
        for (const Operation &operation : catalogue::operations())
            listed.insert(QString::fromStdString(operation.className).section("::", -1));
        const QRegularExpression declared("class KX_EXPORT (\\w+(?:<\\w+>)?)(?: final)? : public (\\w+)");
        QMap<QString, QStringList> derived; // from a class
        for (const QString &name : QDir(HEADERS).entryList({ "*.h" })) {
            QFile header(QDir(HEADERS).filePath(name));
            QVERIFY(header.open(QIODevice::ReadOnly));
            auto match = declared.globalMatch(QString::fromUtf8(header.readAll()));
            while (match.hasNext()) {
                const auto names = match.next();
                derived[names.captured(2)] << names.captured(1);
            }
        }
        QStringList classes { "BaseTransformation", "OPAdjustmentProcessing" };
        for (int i = 0; i < classes.size(); ++i) {
            const QString name = classes[i];
            QVERIFY2(derived.contains(name) || listed.count(name), qPrintable(name + " is not in the catalogue"));
            classes << derived[name];
        }
        QVERIFY(classes.size() > 40);
    }

    /// A row for each variant of each operation of @p kinds.
    void variants(const std::set<Kind> &kinds)
    {
        QTest::addColumn<int>("operation");
        QTest::addColumn<int>("variant");
        const auto &all = catalogue::operations();
        for (size_t i = 0; i < all.size(); ++i)
            for (size_t k = 0; k < all[i].variants.size() && kinds.count(all[i].kind); ++k)
                QTest::addRow("%s, %s", all[i].name.c_str(), all[i].variants[k].name.c_str()) << int(i) << int(k);
    }

    std::pair<const Operation *, const Variant *> current() const
    {
        const Operation &operation = catalogue::operations()[size_t(*fetched("operation"))];
        return { &operation, &operation.variants[size_t(*fetched("variant"))] };
    }
    static const int *fetched(const char *name)
    {
        return static_cast<const int *>(QTest::qData(name, qMetaTypeId<int>()));
    }

    static QStringList digests(const QByteArray &module, int processors)
    {
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("KXCORE_TEST_MODULE", module);
        environment.insert("KXCORE_TEST_PROCESSORS", QString::number(processors));
        program.setProcessEnvironment(environment);
        program.start(DIGESTS, QStringList());
        program.waitForFinished(120000);
        return QString::fromUtf8(program.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
    }
};

KXCORE_TEST_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
