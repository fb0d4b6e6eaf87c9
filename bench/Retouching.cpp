#include "OPInpaint.h"

#include "Scene.h"
#include "Suite.h"

#include "kit/PlainInpainting.h"

#include <algorithm>
#include <optional>

namespace bench {

namespace {

constexpr char plainForm[] = ", pixel by pixel";

/// A tenth of the picture, in its middle.
QRect hole()
{
    const QSize size(int(width * 0.316), int(height * 0.316));
    return QRect(QPoint((width - size.width()) / 2, (height - size.height()) / 2), size);
}

QImage &picture()
{
    static QImage damaged;
    return damaged;
}

void damage()
{
    const auto *const bytes = reinterpret_cast<const uchar *>(pixelsOf(photoLayer));
    picture() = QImage(bytes, width, height, QImage::Format_ARGB32).copy();
    const QRect area = hole();
    for (int y = area.y(); y < area.y() + area.height(); ++y)
        std::fill_n(reinterpret_cast<QRgb *>(picture().scanLine(y)) + area.x(), area.width(), 0u);
}

/// Finding the holes of a QImage, and filling them once: by @p Engine, whose rows are named with @p suffix.
template <class Engine, class Fill>
void addInpainting(Suite &suite, const std::string &suffix, double ratio, int repetitions, Fill fill)
{
    static std::optional<Engine> engine;
    const std::string find = "inpaint, find the holes", once = "inpaint, fill once";
    const auto renew = [] {
        damage();
        engine.emplace(picture());
    };
    suite.addRow(find + suffix, { Column::Module, find + plainForm, ratio });
    suite.addOurs(find + suffix, repetitions, damage, [] { engine.emplace(picture()); });
    suite.addRow(once + suffix, { Column::Module, once + plainForm, ratio });
    suite.addOurs(once + suffix, repetitions, renew, [fill] { fill(*engine); });
}

} // namespace

void addRetouching(Suite &suite)
{
    addInpainting<OPInpaint>(suite, "", 4, 5, [](OPInpaint &engine) { engine(0); });
    addInpainting<kit::PlainInpaint>(suite, plainForm, 0, 2, [](kit::PlainInpaint &engine) { engine.run(); });
}

} // namespace bench
