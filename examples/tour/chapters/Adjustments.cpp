#include "../Pictures.h"
#include "../Sheet.h"

namespace tour {

Sheet adjustmentsSheet(const QImage &photo, const std::atomic<bool> &stop)
{
    constexpr int magnification = 6; // large enough for the times to mean something
    const QImage picture = cellOf(photo, magnification);
    Sheet sheet { "adjustments", "Every adjustment",
        QString("What changes each pixel by itself, once on the middle of the photo: %1 × %2 pixels, shown smaller.")
            .arg(picture.width())
            .arg(picture.height()),
        { cell("The photo", imageOf(picture)) } };
    addOperations(sheet, catalogue::Kind::Adjustment, picture, QImage(), stop);
    return sheet;
}

} // namespace tour
