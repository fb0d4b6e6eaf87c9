#include "../Sheet.h"

namespace tour {

Sheet filtersSheet(const QImage &photo, const std::atomic<bool> &stop)
{
    const QImage cell = cellOf(photo);
    Sheet sheet { "filters", "Every filter", "What makes a pixel from those around it, once on the photo.",
        { { "the photo", {}, cell } } };
    addOperations(sheet, catalogue::Kind::Filter, cell, QImage(), stop);
    return sheet;
}

} // namespace tour
