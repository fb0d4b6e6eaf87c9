#include "Scene.h"
#include "Suite.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

namespace bench {

/// OpenCV's blurs on four channels of 8 bits, on all processors. They do not weight colour by alpha.
void addOpenCV(Suite &suite)
{
    const auto picture = [] {
        static const cv::Mat source(
            height, width, CV_8UC4, const_cast<void *>(static_cast<const void *>(pixelsOf(layer))));
        return source;
    };
    static cv::Mat result;
    const auto prepare = [] {
        cv::setNumThreads(cv::getNumberOfCPUs());
        result.create(height, width, CV_8UC4);
    };
    for (const int sigma : gaussianSigmas)
        suite.addPeer(gaussianName(sigma), Column::OpenCV, sigma < 20 ? 9 : 2, prepare, [=] {
            const int reach = 3 * sigma;
            cv::GaussianBlur(
                picture(), result, cv::Size(2 * reach + 1, 2 * reach + 1), sigma, sigma, cv::BORDER_REPLICATE);
        });
    for (const int radius : boxRadii)
        suite.addPeer(boxName(radius), Column::OpenCV, 9, prepare, [=] {
            cv::blur(
                picture(), result, cv::Size(2 * radius + 1, 2 * radius + 1), cv::Point(-1, -1), cv::BORDER_REPLICATE);
        });
}

} // namespace bench
