#include "KXComposer.h"
#include "KXConverter.h"
#include "KXEXIFElement.h"
#include "KXRefineSelectionProcessing.h"
#include "KXResizeImage.h"
#include "OPBoxBlurProcessing.h"
#include "OPColorTransformStack.h"
#include "OPGaussianBlurProcessing.h"
#include "OPImageConvolution.h"
#include "OPImagePainter.h"
#include "OPImageTransformation.h"
#include "OPImageUtils.h"
#include "OPInpaint.h"
#include "OPInpaintIterative.h"
#include "OPRGBA32ColorProfileTransform.h"
#include "OPTransformImageColors.h"

#include "catalogue/Operation.h"
#include "catalogue/Profiles.h"
#include "kit/Images.h"
#include "kit/Test.h"

#include <QtGui/QTransform>

#include <cerrno>
#include <cstdlib>

namespace {

std::atomic<int> untilRefusal { INT_MAX }; ///< the allocation that brings it to 0 fails
std::atomic<bool> refusalLasts { false }; ///< and all after it
std::atomic<int> blocks { 0 }; ///< allocated and not freed

/// The block that an allocation gives, unless it is the one to fail.
template <class Allocate>
void *allocated(Allocate allocate)
{
    const int left = --untilRefusal;
    void *const block = left == 0 || (left < 0 && refusalLasts) ? nullptr : allocate();
    blocks += block ? 1 : 0;
    if (!block)
        errno = ENOMEM; // the C library insists on it where it starts a thread
    return block;
}

void freed(void *block) { blocks -= block ? 1 : 0; }

} // namespace

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) // whose own allocator has to stay
void *operator new(size_t size)
{
    void *const block = allocated([size] { return std::malloc(size); });
    return block ? block : throw std::bad_alloc();
}
void *operator new(size_t size, const std::nothrow_t &) noexcept
{
    return allocated([size] { return std::malloc(size); });
}
void operator delete(void *block) noexcept
{
    freed(block);
    std::free(block);
}
void operator delete(void *block, size_t) noexcept { operator delete(block); }
#else
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);

Q_DECL_EXPORT void *malloc(size_t size) noexcept
{
    return allocated([size] { return __libc_malloc(size); });
}
Q_DECL_EXPORT void *calloc(size_t count, size_t size) noexcept
{
    return allocated([count, size] { return __libc_calloc(count, size); });
}
Q_DECL_EXPORT void *realloc(void *block, size_t size) noexcept
{
    void *const moved = allocated([block, size] { return __libc_realloc(block, size); });
    if (moved)
        freed(block);
    return moved;
}
Q_DECL_EXPORT void *aligned_alloc(size_t alignment, size_t size) noexcept
{
    return allocated([alignment, size] { return __libc_memalign(alignment, size); });
}
Q_DECL_EXPORT int posix_memalign(void **block, size_t alignment, size_t size) noexcept
{
    void *const given = aligned_alloc(alignment, size);
    return given ? (*block = given, 0) : ENOMEM;
}
Q_DECL_EXPORT void free(void *block) noexcept
{
    freed(block);
    __libc_free(block);
}
}
#endif

namespace {

struct Inverse : BaseTransformation {
    using BaseTransformation::operator();
    void operator()(OPRGBA32i &pixel) const override { pixel.word ^= 0xffffff; }
};

/// Adds to a stack what it owns.
struct Nothing : OPColorTransformBase {
    void operator()(void *, unsigned int) const override { }
    void Invert(void *, unsigned int) const override { }
};

/// What a family of calls works on. The sources stay what they are, whatever happens; targets may be half done.
struct Scene {
    QRandomGenerator random = kit::random();
    RGBA32iImage flat = kit::noise(random, size, false), tiled = kit::patchy(random, size, true);
    RGBA32iImage mask = kit::noise(random, size, false), tiledMask = kit::patchy(random, size, true);
    RGBA32iImage flatTarget = kit::noise(random, size, false), tiledTarget = kit::patchy(random, size, true);
    QImage picture = ConvertImage<RGBA32iImage, QImage>(flat), sharing = picture; ///< the one that shares is written
    const std::atomic<bool> cancel { false };
    const QRect rect { QPoint(), size };

    std::vector<OPRGBA32i> Sources() const { return Pixels({ flat, tiled, mask, tiledMask, imageOf(picture) }); }
    std::vector<OPRGBA32i> Targets() const { return Pixels({ flatTarget, tiledTarget, imageOf(sharing) }); }

    /// For filters: the flat target, or what is selected of it.
    void Fill(KXFilterData &data, bool selected) const
    {
        data.image = flatTarget;
        data.selection = selected ? mask : RGBA32iImage();
        data.selectionRect = selected ? rect.adjusted(30, 20, -40, -50) : QRect();
    }

    template <class Blur>
    typename Blur::BlurDataEx Growing() const
    {
        typename Blur::BlurDataEx data;
        Fill(data, false);
        data.region = rect.adjusted(-9, -9, 9, 9);
        return data;
    }

private:
    static constexpr QSize size { 150, 140 };

    static RGBA32iImage imageOf(const QImage &image) { return ConvertImage<QImage, RGBA32iImage>(image); }

    static std::vector<OPRGBA32i> Pixels(std::initializer_list<RGBA32iImage> images)
    {
        std::vector<OPRGBA32i> pixels;
        for (const RGBA32iImage &image : images) {
            const kit::Picture part = kit::Picture::of(image);
            pixels.insert(pixels.end(), part.pixels.begin(), part.pixels.end());
        }
        return pixels;
    }
};

/// Calls that are made while memory lacks.
struct Family {
    std::string name;
    std::function<void(Scene &)> calls;
    bool logs = false; ///< lack of memory is logged, and the call returns
};

constexpr auto mode = KXCompositionMode::Multiply;

template <class To>
void convert(Scene &s)
{
    s.flatTarget = ConvertImage<To, RGBA32iImage>(ConvertImage<RGBA32iImage, To>(s.flat));
}

template <class Direction>
void writeLine(Scene &s)
{
    const std::vector<unsigned char> line(400, 7);
    Direction(s.sharing, s.rect, 0).Write(s.sharing, 3, 0, line.data(), 400);
}

const QByteArray srgbBytes = profiles::srgb(), tableBytes = profiles::rgbTables2(), chainBytes = profiles::rgbChains();
const KXCMSProfile srgb = profiles::loaded(srgbBytes), wide = profiles::loaded(profiles::wideGamut()),
                   tables = profiles::loaded(tableBytes);
const OPRGBA32ColorProfileTransform forward(srgb, wide), backward(wide, srgb); // copies need not make engines

/// Loads all of the profile over another one. Whether it did, and its text, shows in the target's first pixel.
void load(Scene &s, const QByteArray &bytes)
{
    KXCMSProfile profile = profiles::loaded(srgbBytes);
    const bool isLoaded = profile.Load(bytes);
    s.flatTarget.Bits()[0].word = isLoaded ? unsigned(qHash(profile.GetInfo(), 1)) : 0;
}

/// Converts by a new transform.
void convertColours(Scene &s, const KXCMSProfile &from, const KXCMSProfile &to)
{
    const KXCMSTransform transform(from, to);
    transform(s.flatTarget.Bits(), 9);
}

/// Assigns a transform, in both directions or in none.
void assign(Scene &s)
{
    OPRGBA32ColorProfileTransform kept(forward);
    const OPRGBA32i colour(40, 120, 220, 77);
    OPRGBA32i before[] = { colour, colour }, after[] = { colour, colour };
    kept(before[0]), kept.Invert(before[1]);
    try {
        kept = backward;
    } catch (const std::bad_alloc &) {
        kept(after[0]), kept.Invert(after[1]);
        if (!std::equal(before, before + 2, after))
            throw std::logic_error("a transform that is neither the old one nor the new one");
        throw;
    }
    kept(s.flatTarget.Bits()[0]);
}

/// Every filter of the catalogue, on all of a layer and on what is selected of it.
std::vector<Family> catalogued()
{
    std::vector<Family> families;
    for (const catalogue::Operation &operation : catalogue::operations(catalogue::Kind::Filter))
        for (const bool selected : { false, true }) {
            const auto run = [filter = operation.variants.front(), selected](Scene &s) {
                catalogue::Input input;
                s.Fill(input, selected);
                s.flatTarget = filter.run(input, { s.cancel, {}, {} });
            };
            families.push_back({ operation.name + (selected ? " of a selection" : ""), run });
        }
    return families;
}

const std::vector<Family> others {
    { "make",
        [](Scene &s) { s.flatTarget = RGBA32iImage(90, 80, false), s.tiledTarget = RGBA32iImage(300, 200, true); } },
    { "fill", [](Scene &s) { s.tiledTarget.Fill(OPRGBA32i(1, 2, 3, 4)); } },
    { "write to shared tiles",
        [](Scene &s) {
            RGBA32iImage copy = s.tiled;
            for (int i = 0; copy.HasTile(i); ++i)
                copy.TileData(i, true);
        } },
    { "assign", [](Scene &s) { s.flatTarget = s.tiled, s.tiledTarget = s.flat; } },
    { "copy tiles to tiles", [](Scene &s) { s.tiled.CopyTo(s.flatTarget, true); } },
    { "copy flat", [](Scene &s) { s.flat.CopyTo(s.tiledTarget, false); } },
    { "copy to tiles", [](Scene &s) { s.flat.CopyTo(s.tiledTarget, true); } },
    { "copy a rectangle, flat", [](Scene &s) { RGBA32iImage::CopyRect(s.flatTarget, s.flat, s.rect, s.rect, true); },
        true },
    { "copy a rectangle to tiles",
        [](Scene &s) { RGBA32iImage::CopyRect(s.tiledTarget, s.flat, s.rect, s.rect, true); }, true },
    { "copy a rectangle of tiles",
        [](Scene &s) { RGBA32iImage::CopyRect(s.flatTarget, s.tiled, s.rect, s.rect, true); }, true },
    { "convert to CMYK", convert<CMYKAImage> },
    { "convert to QImage", convert<QImage> },
    { "compose flat", [](Scene &s) { Compose(s.flat, s.rect, mode, s.flatTarget, s.rect, 0.5, false); } },
    { "compose tiles", [](Scene &s) { Compose(s.tiled, s.rect, mode, s.tiledTarget, s.rect, 0.5, false); } },
    { "compose flat on tiles", [](Scene &s) { Compose(s.flat, s.rect, mode, s.tiledTarget, s.rect, 0.5, false); } },
    { "compose tiles on flat", [](Scene &s) { Compose(s.tiled, s.rect, mode, s.flatTarget, s.rect, 0.5, false); } },
    { "compose on QImage", [](Scene &s) { Compose(s.tiled, s.rect, mode, s.sharing, s.rect, 0.5, false); } },
    { "compose the source", [](Scene &s) { ComposeSource(s.tiled, s.rect, s.tiledTarget, s.rect); } },
    { "compose through masks",
        [](Scene &s) {
            ComposeMaskOn(s.flat, s.rect, mode, s.flatTarget, s.rect, 0.5, s.mask, s.rect, true, false);
            ComposeMaskOn(s.tiled, s.rect, mode, s.tiledTarget, s.rect, 0.5, s.tiledMask, s.rect, false, false);
        } },
    { "compose through a clip",
        [](Scene &s) {
            ComposeClippingMaskOn(
                s.flat, s.rect, mode, s.flatTarget, s.rect, s.mask, s.rect, s.tiledMask, s.rect, true, 0.5, false);
        } },
    { "compose through a clip and a mask",
        [](Scene &s) {
            ComposeClippingMaskAndMaskOn(s.flat, s.rect, mode, s.flatTarget, s.rect, 0.5, s.mask, s.rect, s.tiledMask,
                s.rect, true, s.mask, s.rect, true, false);
        } },
    { "compose an adjustment",
        [](Scene &s) {
            Inverse inverse;
            ComposeWithTransformation(s.flat, s.rect, mode, s.flatTarget, s.rect, &inverse, 0.5, false);
            ComposeWithTransformation(s.tiled, s.rect, mode, s.flatTarget, s.rect, &inverse, 0.5, false);
        } },
    { "walk", [](Scene &s) { OPImageWalk::Plain(std::make_shared<Inverse>(), s.flatTarget, s.rect); } },
    { "walk over tiles", [](Scene &s) { OPImageWalk::Plain(std::make_shared<Inverse>(), s.tiledTarget, s.rect); } },
    { "walk over QImage", [](Scene &s) { OPImageWalk::Plain(std::make_shared<Inverse>(), s.sharing, s.rect); } },
    { "iterative walk",
        [](Scene &s) {
            OPImageWalk::Iterative(std::make_shared<Inverse>(), s.flatTarget, s.rect, s.cancel, [] {});
            OPImageWalk::Iterative(std::make_shared<Inverse>(), s.tiledTarget, s.rect, s.cancel, [] {});
        } },
    { "walk by position",
        [](Scene &s) {
            OPImageWalk::PositionAware(std::make_shared<Inverse>(), s.flatTarget, s.rect, s.cancel, [] {});
        } },
    { "stack",
        [](Scene &s) {
            OPColorTransformStack stack;
            for (int i = 0; i < 9; ++i) {
                auto element = std::make_unique<Nothing>();
                stack.Push(element.get());
                element.release(); // the stack's
            }
            stack(s.flatTarget);
        } },
    { "Gaussian that grows",
        [](Scene &s) { OPGaussianBlurProcessing(s.cancel).runEx(s.Growing<OPGaussianBlurProcessing>()); } },
    { "box that grows", [](Scene &s) { OPBoxBlurProcessing(s.cancel).runEx(s.Growing<OPBoxBlurProcessing>()); } },
    { "feather",
        [](Scene &s) {
            QRect rect = s.rect;
            FeatherAlphaMask(s.flatTarget, rect, 3);
        } },
    { "inpaint",
        [](Scene &s) {
            OPInpaint fill(s.sharing);
            fill(0);
        } },
    { "find what to repair", [](Scene &s) { OPInpaintIterative(s.flatTarget, s.mask, s.rect, s.rect); } },
    { "grey", [](Scene &s) { OPToGrayScaleImage()(s.flatTarget), OPToGrayScaleImage()(s.sharing); } },
    { "resize",
        [](Scene &s) {
            if (!KXResizeImage(s.tiled, s.flatTarget, KXResizeLanczos3))
                throw std::bad_alloc();
        } },
    { "reduce",
        [](Scene &s) {
            try {
                BilinearTransformImage(s.flatTarget, QTransform::fromScale(0.4, 0.4), s.flatTarget, QRect());
            } catch (const std::bad_alloc &) {
                throw std::logic_error("it should have returned false");
            }
        },
        true },
    { "transform to QImage", [](Scene &s) { TransformImage(s.tiled, QTransform(), s.sharing, QRect()); } },
    { "scale to QImage", [](Scene &s) { ScaleImage(s.tiled, QPointF(), 0.5, s.sharing); } },
    { "convolve",
        [](Scene &s) {
            const double cells[] = { 0.5, 0.5, 0.5 };
            OPImageConvolution(cells, { 3, 1 })(s.sharing);
            OPImageConvoluteAlpha(cells, { 1, 3 })(s.sharing);
        } },
    { "make masks",
        [](Scene &s) {
            CreateFromSourceMask(s.flatTarget, s.flat), CreateFromTransparancyMask(s.tiledTarget, s.flat);
            CreateRevealAllMask(s.tiledTarget, s.mask), CreateHideAllMask(s.flatTarget, s.mask);
        },
        true },
    { "draw an image", [](Scene &s) { DrawImage(s.tiledTarget, mode, QPoint(9, -9), s.flat, 0.5, false); }, true },
    { "write a row", writeLine<OPImageUtils::HorizontalDirection<QImage>> },
    { "write a column", writeLine<OPImageUtils::VerticalDirection<QImage>> },
    { "EXIF",
        [](Scene &s) {
            const KXEXIFElement element(KXEXIFElement::Make, QString("camera"));
            auto copy = std::make_unique<KXEXIFElement>(element);
            QList<KXEXIFElement *> elements;
            elements << copy.get();
            s.flatTarget.SetExifElements(elements);
            copy.release(); // the image's
        } },
    { "assign EXIF",
        [](Scene &) {
            KXEXIFElement element(KXEXIFElement::Make, QString("camera"));
            element = KXEXIFElement(KXEXIFElement::Orientation, 6u);
            element.SetValue(QByteArray("six"));
        } },
    { "load a profile", [](Scene &s) { load(s, tableBytes); } },
    { "load a profile of chains", [](Scene &s) { load(s, chainBytes); } },
    { "convert by a matrix", [](Scene &s) { convertColours(s, wide, srgb); } },
    { "convert by tables", [](Scene &s) { convertColours(s, tables, srgb); } },
    { "assign a transform", assign },
    { "convert a picture", [](Scene &s) { OPRGBA32ColorProfileTransform(wide, srgb)(s.flatTarget); } },
};

} // namespace

class TestMemory : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        loadAVX2Functions(true);
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
            if (type == QtInfoMsg)
                fprintf(stderr, "%s\n", qPrintable(text));
        });
        QThreadPool::globalInstance()->setMaxThreadCount(1);
        QThreadPool::globalInstance()->setExpiryTimeout(-1);
    }

    void failAtEveryAllocation_data()
    {
        QTest::addColumn<int>("family");
        QTest::addColumn<bool>("lasts");
        m_families = catalogued();
        m_families.insert(m_families.end(), others.begin(), others.end());
        for (size_t i = 0; i < m_families.size(); ++i)
            for (const bool lasts : { false, true })
                QTest::addRow("%s, %s", m_families[i].name.c_str(), lasts ? "from there on" : "once")
                    << int(i) << lasts;
    }

    /// Each run ends as it should or in std::bad_alloc; the sources are what they were, and neither a picture nor a
    /// block is lost.
    void failAtEveryAllocation()
    {
        QFETCH(const int, family);
        QFETCH(const bool, lasts);
        const Family &tested = m_families[size_t(family)];
        settle();
        std::vector<OPRGBA32i> sources, targets;
        for (int warm = 0; warm < 2; ++warm) { // what is made once and kept exists from here on
            Scene scene;
            sources = scene.Sources();
            tested.calls(scene);
            targets = scene.Targets();
            settle();
        }
        QString fault;
        bool refused = true;
        for (int which = 1, again = 0; refused && fault.isEmpty(); ++which) {
            const int before = blocks;
            const char *wrong = nullptr;
            {
                Scene scene;
                bool ended = false;
                refusalLasts = lasts;
                untilRefusal = which;
                try {
                    tested.calls(scene);
                    ended = true;
                } catch (const std::bad_alloc &) {
                    if (scene.sharing.isNull())
                        wrong = "the caller's picture is gone";
                } catch (...) {
                    wrong = "another exception";
                }
                refused = untilRefusal.exchange(INT_MAX) <= 0;
                if (scene.Sources() != sources)
                    wrong = "a source changed";
                else if (ended && !(tested.logs && refused) && scene.Targets() != targets)
                    wrong = "it returned with other pixels";
                settle();
            }
            if (wrong || blocks == before)
                again = 0;
            else if (++again < 5) { // a thread may have made what it keeps; what is lost is lost every time
                --which;
                refused = true;
            } else
                wrong = "blocks are lost";
            if (wrong)
                fault = QString("allocation %1: %2").arg(which).arg(wrong);
            QVERIFY(which < 100000);
        }
        QVERIFY2(fault.isEmpty(), qPrintable(fault));
    }

    void logOfResizing()
    {
        Scene scene;
        const kit::LogCapture log;
        refusalLasts = false;
        untilRefusal = 1;
        const bool isDone = KXResizeImage(scene.flat, scene.flatTarget, KXResizeBox);
        untilRefusal = INT_MAX;
        QVERIFY(!isDone);
        QCOMPARE(log.texts(), QStringList { "[src/transform/KXResize] Unexpected exception std::bad_alloc" });
    }

private:
    /// Returns when the pool's thread has done and deleted all tasks so far. It takes them in turn.
    static void settle()
    {
        struct : QRunnable {
            void run() override { done.release(); }
            QSemaphore done;
        } last;
        last.setAutoDelete(false);
        QThreadPool::globalInstance()->start(&last);
        last.done.acquire();
    }

    std::vector<Family> m_families;
};

KXCORE_TEST_MAIN(TestMemory)
#include "tst_memory.moc"
