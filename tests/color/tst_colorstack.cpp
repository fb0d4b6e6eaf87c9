#include "kit/Test.h"

#include "OPColorTransformStack.h"

#include <QtGui/QImage>

static QStringList calls;

/// The calls since the last time.
static QString newCalls() { return std::exchange(calls, QStringList()).join(", "); }

/// Writes down which of its operations are called.
struct Recorder : OPColorTransformBase {
    explicit Recorder(const QString &n) { name = n; }
    ~Recorder() override { calls << name + " deleted"; }

#define RECORD(Form)                                                                                                   \
    void operator()(Form &) const override { calls << name + " " #Form; }                                              \
    void Invert(Form &) const override { calls << "-" + name + " " #Form; }
    RECORD(QImage)
    RECORD(OPRGBA128f)
    RECORD(OPRGBA128i)
    RECORD(OPRGBA64f)
    RECORD(OPRGBA64i)
    RECORD(OPRGBA32i)
    void operator()(OPHSLA &) const override { calls << name + " OPHSLA"; }
    void operator()(void *data, unsigned int bytes) const override { calls << name + text(data, bytes); }
    void Invert(void *data, unsigned int bytes) const override { calls << "-" + name + text(data, bytes); }
    static QString text(void *data, unsigned int bytes) { return QString(data ? " memory %1" : " null %1").arg(bytes); }

    QString name;
};

static void push(OPColorTransformStack &stack, std::initializer_list<OPColorTransformBase *> transforms)
{
    for (OPColorTransformBase *transform : transforms)
        stack.Push(transform);
}

class TestColorStack : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { calls.clear(); }

    void everyFormInItsOrder()
    {
        OPColorTransformStack stack;
        const OPColorTransformBase &base = stack; // a stack is a transformation too
        push(stack, { new Recorder("A"), nullptr, new Recorder("B") });
        const auto check = [&](const char *form, auto value) {
            base(value);
            base.Invert(value);
            QCOMPARE(newCalls(), QString("A %1, B %1, -B %1, -A %1").arg(form));
        };
        check("QImage", QImage());
        check("OPRGBA128f", OPRGBA128f());
        check("OPRGBA128i", OPRGBA128i());
        check("OPRGBA64f", OPRGBA64f());
        check("OPRGBA64i", OPRGBA64i());
        check("OPRGBA32i", OPRGBA32i());
        OPHSLA pixel;
        base(pixel);
        base(&pixel, 16);
        base.Invert(&pixel, 16);
        QCOMPARE(newCalls(), "A OPHSLA, B OPHSLA, A memory 16, B memory 16, -B memory 16, -A memory 16");
    }

    /// Images go to the raw-memory forms, last to first in both directions, with a count of pixels for bytes.
    void imagesAsMemory()
    {
        RGBA32iImage flat(5, 3, false), tiled(5, 3, true);
        // A flat window is smaller than the image and no stand-in for its pixels.
        tiled.SetFlatWindow(QSharedPointer<OPRGBA32i>(new OPRGBA32i), QRect(0, 0, 1, 1), QPoint(), QPoint());
        const auto inner = new OPColorTransformStack; // reached as memory, so in its own order
        push(*inner, { new Recorder("A"), new Recorder("B") });
        OPColorTransformStack stack;
        push(stack, { nullptr, new Recorder("C"), inner, nullptr });
        for (RGBA32iImage *image : { &flat, &tiled }) {
            stack(*image);
            stack.Invert(*image);
            const QString each = image == &flat ? "memory" : "null";
            QCOMPARE(newCalls(), QString("A %1 15, B %1 15, C %1 15, -B %1 15, -A %1 15, -C %1 15").arg(each));
        }
    }

    void aStackOwnsWhatIsNotPopped()
    {
        Recorder c("C");
        {
            OPColorTransformStack stack;
            stack.PopAll();
            push(stack, { new Recorder("A"), new Recorder("B"), nullptr, &c });
            QVERIFY(stack.Top() == &c && stack.Pop() == &c && stack.Top() == nullptr && !stack.isEmpty());
        }
        QCOMPARE(newCalls(), "A deleted, B deleted");
        OPColorTransformStack stack;
        push(stack, { &c, &c });
        stack.PopAll();
        QVERIFY(stack.isEmpty());
        OPRGBA32i pixel(0x12345678u);
        stack(pixel);
        c.OPColorTransformBase::operator()(pixel); // what a class does not serve
        c.OPColorTransformBase::Invert(pixel);
        QCOMPARE(pixel.word, 0x12345678u);
        QCOMPARE(newCalls(), "");
    }
};

KXCORE_TEST_MAIN(TestColorStack)
#include "tst_colorstack.moc"
