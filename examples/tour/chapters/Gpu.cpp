#include "../Pictures.h"
#include "../Sheet.h"

#include "catalogue/OpenGl.h"

#include <KXSelectiveColorsTransformation.h>
#include <OPTransformImageColors.h>

namespace tour {

namespace {

constexpr QSize panel(396, 264);
constexpr int magnification = 6; ///< of what is adjusted, so that the times mean something

/// Warmer lights and deeper blues.
SelectiveParamsList evening()
{
    SelectiveParamsList list;
    list.m_Params[SelectiveParamsList::Reds] = { -40, 5, 25, 0 };
    list.m_Params[SelectiveParamsList::Yellows] = { -20, 10, 30, 0 };
    list.m_Params[SelectiveParamsList::Cyans] = { 40, 0, -30, 10 };
    list.m_Params[SelectiveParamsList::Blues] = { 60, 20, -40, 15 };
    list.m_Params[SelectiveParamsList::Neutrals] = { -6, 0, 8, 4 };
    return list;
}

/// Black where two pictures are equal, and white where a channel differs. Counts these channels.
RGBA32iImage difference(const RGBA32iImage &a, const RGBA32iImage &b, int &count)
{
    RGBA32iImage result(a.Width(), a.Height(), false);
    for (int y = 0; y < a.Height(); ++y)
        for (int x = 0; x < a.Width(); ++x) {
            const OPRGBA32i p = a.GetColor(x, y), q = b.GetColor(x, y);
            const int channels = (p.r != q.r) + (p.g != q.g) + (p.b != q.b);
            count += channels;
            result.SetColor(x, y, OPRGBA32i(channels > 0 ? 0xFFFFFFFF : 0xFF000000));
        }
    return result;
}

} // namespace

std::optional<Sheet> gpuSheet(const QImage &photo, const std::atomic<bool> &stop)
{
    catalogue::OpenGl gpu;
    if (!gpu.IsThere())
        return std::nullopt;
    RGBA32iImage original = imageOf(cellOf(photo, magnification));
    const SelectiveParamsList list = evening();
    Sheet sheet { "gpu", "Selective colours on the processor and by OpenGL",
        QString(
            "The same adjustment of %1 × %2 pixels. The first call uploads them; each later one only draws and reads "
            "back, as in a live preview.")
            .arg(original.Width())
            .arg(original.Height()),
        {}, {}, panel, 5 };
    sheet.cells << cell("The photo", original, panel);
    RGBA32iImage byProcessor;
    original.CopyTo(byProcessor, false);
    addTimed(sheet, "On the processor", "", stop, [&] {
        OPIterativeTransformImageColors(
            KXSelectiveColorsTransformation(list), &byProcessor, byProcessor.Rect(), stop, {})();
        return byProcessor;
    });

    RGBA32iImage byGpu;
    gpu.Begin(original);
    for (const char *const name : { "By OpenGL, first call", "By OpenGL, next call" })
        addTimed(sheet, name, "", stop, [&] {
            byGpu = gpu.Draw(list);
            return byGpu.Width() > 0 ? byGpu : RGBA32iImage(original.Width(), original.Height(), false);
        });
    if (byGpu.Width() == 0)
        return std::nullopt;
    int count = 0;
    const RGBA32iImage differing = difference(byProcessor, byGpu, count);
    sheet.cells << cell("Difference", differing, panel);
    sheet.cells.last().details = QString("%1 of %2 channels").arg(count).arg(original.Width() * original.Height() * 3);
    return sheet;
}

} // namespace tour
