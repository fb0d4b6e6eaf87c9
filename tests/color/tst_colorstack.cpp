#include "TestSupport.h"

#include "OPColorTransformStack.h"

#include <QtGui/QImage>

/// Writes down which of its operations are called, in a list that it shares with others.
class Recorder : public OPColorTransformBase {
public:
    Recorder(const QString &name, QStringList &calls)
        : m_name(name)
        , m_calls(calls)
    {
    }
    ~Recorder() override { m_calls << m_name + " deleted"; }

    void operator()(void *data, unsigned int bytes) const override { Memory("", data, bytes); }
    void operator()(RGBA32iImage &) const override { m_calls << m_name + " image"; }
    void operator()(QImage &) const override { m_calls << m_name + " qimage"; }
    void operator()(OPHSLA &) const override { m_calls << m_name + " hsla"; }
    void operator()(OPRGBA128f &) const override { m_calls << m_name + " 128f"; }
    void operator()(OPRGBA128i &) const override { m_calls << m_name + " 128i"; }
    void operator()(OPRGBA64f &) const override { m_calls << m_name + " 64f"; }
    void operator()(OPRGBA64i &) const override { m_calls << m_name + " 64i"; }
    void operator()(OPRGBA32i &) const override { m_calls << m_name + " 32i"; }
    void Invert(void *data, unsigned int bytes) const override { Memory("-", data, bytes); }
    void Invert(RGBA32iImage &) const override { m_calls << "-" + m_name + " image"; }
    void Invert(QImage &) const override { m_calls << "-" + m_name + " qimage"; }
    void Invert(OPRGBA128f &) const override { m_calls << "-" + m_name + " 128f"; }
    void Invert(OPRGBA128i &) const override { m_calls << "-" + m_name + " 128i"; }
    void Invert(OPRGBA64f &) const override { m_calls << "-" + m_name + " 64f"; }
    void Invert(OPRGBA64i &) const override { m_calls << "-" + m_name + " 64i"; }
    void Invert(OPRGBA32i &) const override { m_calls << "-" + m_name + " 32i"; }

    mutable void *lastData = nullptr;

private:
    void Memory(const QString &sign, void *data, unsigned int bytes) const
    {
        lastData = data;
        m_calls << sign + m_name + QString(" memory %1").arg(bytes);
    }

    QString m_name;
    QStringList &m_calls;
};

/// Serves nothing but what it must.
class Silent : public OPColorTransformBase {
public:
    using OPColorTransformBase::operator();
    using OPColorTransformBase::Invert;
    void operator()(void *, unsigned int) const override { }
    void Invert(void *, unsigned int) const override { }
};

class TestColorStack : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void order();
    void imagesAsMemory();
    void ownership();
    void popAllDeletesNothing();
    void stacksNest();
    void unservedFormsChangeNothing();
};

void TestColorStack::order()
{
    QStringList calls;
    {
        OPColorTransformStack stack;
        stack.Push(new Recorder("A", calls));
        stack.Push(nullptr); // skipped by every form but that for OPRGBA32i, which comes further down
        stack.Push(new Recorder("B", calls));
        const auto called = [&calls](auto call) {
            calls.clear();
            call();
            return calls;
        };
        const auto forward = [&](auto value, const QString &form) {
            QCOMPARE(called([&] { stack(value); }), (QStringList { "A " + form, "B " + form }));
        };
        const auto backward = [&](auto value, const QString &form) {
            QCOMPARE(called([&] { stack.Invert(value); }), (QStringList { "-B " + form, "-A " + form }));
        };
        int memory[4];
        QCOMPARE(called([&] { stack(memory, 16); }), (QStringList { "A memory 16", "B memory 16" }));
        QCOMPARE(called([&] { stack.Invert(memory, 16); }), (QStringList { "-B memory 16", "-A memory 16" }));
        forward(QImage(), "qimage");
        forward(OPHSLA(), "hsla");
        forward(OPRGBA128f(), "128f");
        forward(OPRGBA128i(), "128i");
        forward(OPRGBA64f(), "64f");
        forward(OPRGBA64i(), "64i");
        backward(QImage(), "qimage");
        backward(OPRGBA128f(), "128f");
        backward(OPRGBA128i(), "128i");
        backward(OPRGBA64f(), "64f");
        backward(OPRGBA64i(), "64i");
        backward(OPRGBA32i(), "32i");
    }
    QCOMPARE(calls.mid(calls.size() - 2), (QStringList { "A deleted", "B deleted" }));

    calls.clear();
    OPColorTransformStack stack;
    stack.Push(new Recorder("A", calls));
    stack.Push(new Recorder("B", calls));
    OPRGBA32i pixel;
    stack(pixel);
    QCOMPARE(calls, (QStringList { "A 32i", "B 32i" }));
}

/// Images go to the raw-memory forms, last to first in both directions, with a count of pixels for bytes.
void TestColorStack::imagesAsMemory()
{
    QStringList calls;
    const auto a = new Recorder("A", calls), b = new Recorder("B", calls);
    OPColorTransformStack stack;
    stack.Push(nullptr);
    stack.Push(a);
    stack.Push(b);
    stack.Push(nullptr);

    RGBA32iImage flat(5, 3, false);
    stack(flat);
    QCOMPARE(calls, (QStringList { "B memory 15", "A memory 15" }));
    QVERIFY(a->lastData == flat.Bits() && b->lastData == flat.Bits());
    calls.clear();
    stack.Invert(flat);
    QCOMPARE(calls, (QStringList { "-B memory 15", "-A memory 15" }));
    QVERIFY(a->lastData == flat.Bits());

    RGBA32iImage tiled(5, 3, true);
    calls.clear();
    stack(tiled);
    QCOMPARE(calls, (QStringList { "B memory 15", "A memory 15" }));
    QVERIFY(!a->lastData && !b->lastData);

    // A flat window is smaller than the image and no stand-in for its pixels.
    tiled.SetFlatWindow(QSharedPointer<OPRGBA32i>(new OPRGBA32i), QRect(0, 0, 1, 1), QPoint(), QPoint());
    a->lastData = this;
    stack.Invert(tiled);
    QVERIFY(!a->lastData);
}

void TestColorStack::ownership()
{
    QStringList calls;
    const auto a = new Recorder("A", calls), b = new Recorder("B", calls);
    {
        OPColorTransformStack stack;
        QVERIFY(stack.isEmpty());
        stack.Push(b);
        stack.Push(a);
        QCOMPARE(stack.Top(), a);
        QCOMPARE(stack.Pop(), a);
        QCOMPARE(stack.Top(), b);
        QVERIFY(!stack.isEmpty());
        stack.Push(nullptr);
        QCOMPARE(stack.Top(), nullptr);
    }
    QCOMPARE(calls, QStringList { "B deleted" });
    OPColorTransformStack one;
    one.Push(a);
    QCOMPARE(one.Pop(), a);
    QVERIFY(one.isEmpty());
    OPRGBA32i pixel;
    one(pixel); // an empty stack changes nothing
    (*a)(pixel);
    QCOMPARE(calls.last(), "A 32i");
    delete a;
}

void TestColorStack::popAllDeletesNothing()
{
    QStringList calls;
    const auto a = new Recorder("A", calls), b = new Recorder("B", calls);
    {
        OPColorTransformStack stack;
        stack.PopAll();
        stack.Push(a);
        stack.Push(b);
        stack.PopAll();
        QVERIFY(stack.isEmpty());
    }
    QVERIFY(calls.isEmpty());
    delete a;
    delete b;
}

/// A stack is a transformation too. Within an image the inner one is reached through raw memory: in its own order.
void TestColorStack::stacksNest()
{
    QStringList calls;
    const auto inner = new OPColorTransformStack;
    inner->Push(new Recorder("B", calls));
    inner->Push(new Recorder("C", calls));
    OPColorTransformStack stack;
    stack.Push(new Recorder("A", calls));
    stack.Push(inner);
    RGBA32iImage image(2, 2, false);
    stack(image);
    QCOMPARE(calls, (QStringList { "B memory 4", "C memory 4", "A memory 4" }));
    calls.clear();
    OPRGBA32i pixel;
    stack.Invert(pixel);
    QCOMPARE(calls, (QStringList { "-C 32i", "-B 32i", "-A 32i" }));
}

void TestColorStack::unservedFormsChangeNothing()
{
    OPColorTransformStack stack;
    stack.Push(new Silent);
    OPRGBA32i pixel(0x12345678u);
    stack(pixel);
    stack.Invert(pixel);
    QCOMPARE(pixel.word, 0x12345678u);
    RGBA32iImage image(2, 2, false);
    image.Fill(pixel);
    Silent()(image);
    Silent().Invert(image);
    QCOMPARE(image.Bits()[3].word, 0x12345678u);
}

KXCORE_TEST_MAIN(TestColorStack)
#include "tst_colorstack.moc"
