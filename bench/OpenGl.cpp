#include "catalogue/OpenGl.h"

#include "KXSelectiveColorsTransformation.h"
#include "OPTransformImageColors.h"

#include "Suite.h"

#include <QtGui/QGuiApplication>

#include <memory>

namespace bench {

namespace {

/// All ranges are at work.
SelectiveParamsList inks()
{
    SelectiveParamsList list;
    for (int range = 0; range < list.m_Params.size(); ++range)
        list.m_Params[range] = { float(10 * range - 40), 15, float(30 - 5 * range), 5 };
    return list;
}

} // namespace

void addOpenGl(Suite &suite)
{
    const std::string names[] = { "selective colours, with upload", "selective colours, drawn again" };
    for (const std::string &name : names)
        suite.addRow(name);
    const auto image = std::make_shared<RGBA32iImage>();
    const auto prepare = [image] {
        if (image->Width() == 0)
            *image = flatPicture(photoLayer);
    };
    for (const std::string &name : names)
        suite.addOurs(name, 9, prepare, [image] {
            static const std::atomic<bool> never { false };
            OPIterativeTransformImageColors(
                KXSelectiveColorsTransformation(inks()), image.get(), image->Rect(), never, {})();
        });

    // The parent of the measuring processes has no QGuiApplication, and needs none for the names.
    if (suite.role() != Role::Peers || !qobject_cast<QGuiApplication *>(qApp))
        return;
    const auto gpu = std::make_shared<catalogue::OpenGl>();
    if (!gpu->IsThere())
        return;
    const auto begin = [=] {
        prepare();
        gpu->Begin(*image);
    };
    suite.addPeer(names[0], Column::OpenGl, 9, begin, [=] { gpu->Draw(inks()); });
    suite.addPeer(
        names[1], Column::OpenGl, 9,
        [=] {
            begin();
            gpu->Draw(inks());
        },
        [=] { gpu->Draw(inks()); });
}

} // namespace bench
