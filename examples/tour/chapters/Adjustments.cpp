#include "../Sheet.h"

namespace tour {

Sheet adjustmentsSheet(const QImage &photo, const std::atomic<bool> &stop)
{
    const QImage cell = cellOf(photo);
    Sheet sheet { "adjustments", "Every adjustment", "What changes each pixel by itself, once on the photo.",
        { { "the photo", cell } }, {} };
    addOperations(sheet, catalogue::Kind::Adjustment, cell, QImage(), stop);
    return sheet;
}

} // namespace tour
