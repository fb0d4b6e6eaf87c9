#pragma once

#include <QtCore/QSize>
#include <QtGui/QTransform>

#include <string>
#include <vector>

namespace bench {

/// A picture resampled through a transform, which a peer does too.
struct Resampling {
    enum Grade { Nearest, Bilinear, Bicubic };

    std::string name;
    Grade grade;
    QTransform transform;
    QSize size; ///< of the result
    double goal; ///< reference time divided by our time, at least
};

const std::vector<Resampling> &resamplings();

} // namespace bench
