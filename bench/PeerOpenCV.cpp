#include "Scene.h"
#include "Suite.h"
#include "Transforms.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <thread>

namespace bench {

namespace {

cv::Mat picture(Scene scene)
{
    return cv::Mat(height, width, CV_8UC4, const_cast<void *>(static_cast<const void *>(pixelsOf(scene))));
}

/// What stands for the colour adjustments, on as many threads as our walks have workers.
void addReferences(Suite &suite)
{
    static cv::Mat result, bgr, hls;
    static const cv::Mat tables = [] {
        cv::Mat made(1, 256, CV_8UC4);
        cv::randu(made, 0, 256);
        return made;
    }();
    const auto prepare = [] {
        cv::setNumThreads(std::max(int(std::thread::hardware_concurrency()) - 1, 1));
        result.create(height, width, CV_8UC4);
    };
    suite.addPeer(lookUpOf4, Column::OpenCV, 9, prepare, [] { cv::LUT(picture(photoLayer), tables, result); });
    suite.addPeer(
        hlsAndBack, Column::OpenCV, 9,
        [prepare] {
            prepare();
            cv::cvtColor(picture(photoLayer), bgr, cv::COLOR_BGRA2BGR);
        },
        [] {
            cv::cvtColor(bgr, hls, cv::COLOR_BGR2HLS);
            cv::cvtColor(hls, bgr, cv::COLOR_HLS2BGR);
        });
    for (const Scene scene : measuredScenes)
        suite.addPeer(
            measuringName(scene), Column::OpenCV, 9, [] { cv::setNumThreads(1); }, // ours has one thread too
            [scene] {
                const cv::Mat source = picture(scene);
                const int bins = 256;
                const float range[] = { 0, 256 };
                const float *ranges = range;
                cv::Mat counts;
                for (int channel = 0; channel < 4; ++channel)
                    cv::calcHist(&source, 1, &channel, cv::noArray(), counts, 1, &bins, &ranges);
                cv::Scalar mean, deviation;
                cv::meanStdDev(source, mean, deviation);
            });
}

/// Resampling, on one thread as ours.
void addResamplings(Suite &suite)
{
    static cv::Mat result;
    for (const Resampling &each : resamplings())
        suite.addPeer(
            each.name, Column::OpenCV, 5,
            [&each] {
                cv::setNumThreads(1);
                result.create(each.size.height(), each.size.width(), CV_8UC4);
            },
            [&each] {
                const int grades[] = { cv::INTER_NEAREST, cv::INTER_LINEAR, cv::INTER_CUBIC };
                const int grade = grades[each.grade];
                const QTransform &t = each.transform;
                const cv::Matx33d matrix(
                    t.m11(), t.m21(), t.m31(), t.m12(), t.m22(), t.m32(), t.m13(), t.m23(), t.m33());
                if (t.type() <= QTransform::TxScale)
                    cv::resize(picture(layer), result, result.size(), 0, 0, grade);
                else if (t.isAffine())
                    cv::warpAffine(picture(layer), result, matrix.get_minor<2, 3>(0, 0), result.size(), grade);
                else
                    cv::warpPerspective(picture(layer), result, matrix, result.size(), grade);
            });
}

/// On one thread, as ours are.
void addFillReferences(Suite &suite)
{
    static cv::Mat bgr, mask, result;
    const auto prepare = [] {
        cv::setNumThreads(1);
        cv::cvtColor(picture(photoLayer), bgr, cv::COLOR_BGRA2BGR);
        mask.create(height, width, CV_8U);
        result.create(height, width, CV_8UC4);
    };
    const auto add = [&](const char *name, unsigned tolerance) {
        suite.addPeer(name, Column::OpenCV, 9, prepare, [tolerance] {
            const cv::Scalar reach = cv::Scalar::all(tolerance & 255);
            cv::floodFill(bgr, cv::Point(fillSeed[0], fillSeed[1]), cv::Scalar(0x99, 0x66, 0x33), nullptr, reach, reach,
                4 | cv::FLOODFILL_FIXED_RANGE);
        });
    };
    for (const char *const name : { floodFillName, floodFillIntoName, floodFillImageName })
        add(name, fillAll);
    add(floodFillPartName, fillPart);
    suite.addPeer(colorRangeName, Column::OpenCV, 9, prepare, [] {
        const cv::Mat source = picture(photoLayer);
        const cv::Vec4b seed = source.at<cv::Vec4b>(fillSeed[1], fillSeed[0]);
        const cv::Scalar middle(seed[0], seed[1], seed[2], seed[3]), reach = cv::Scalar::all(fillPart & 255);
        cv::inRange(source, middle - reach, middle + reach, mask);
        result.setTo(cv::Scalar(0x99, 0x66, 0x33, 255), mask);
    });
}

} // namespace

/// OpenCV's filters on four channels of 8 bits, on all processors. They do not weight colour by alpha.
void addOpenCV(Suite &suite)
{
    addReferences(suite);
    addResamplings(suite);
    addFillReferences(suite);
    static cv::Mat result;
    const auto prepare = [] {
        cv::setNumThreads(cv::getNumberOfCPUs());
        result.create(height, width, CV_8UC4);
    };
    for (const int sigma : gaussianSigmas)
        suite.addPeer(gaussianName(sigma), Column::OpenCV, sigma < 20 ? 9 : 2, prepare, [=] {
            const int reach = 3 * sigma;
            cv::GaussianBlur(
                picture(layer), result, cv::Size(2 * reach + 1, 2 * reach + 1), sigma, sigma, cv::BORDER_REPLICATE);
        });
    for (const int radius : boxRadii)
        suite.addPeer(boxName(radius), Column::OpenCV, 9, prepare, [=] {
            cv::blur(picture(layer), result, cv::Size(2 * radius + 1, 2 * radius + 1), cv::Point(-1, -1),
                cv::BORDER_REPLICATE);
        });
    const float side = -sharpenAmount / 1785.0f;
    const cv::Mat taps = (cv::Mat_<float>(1, 3) << side, 1 - 2 * side, side);
    suite.addPeer(sharpenName, Column::OpenCV, 9, prepare, [=] {
        cv::sepFilter2D(picture(layer), result, CV_8U, taps, taps, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    });
    static cv::Mat mask, feathered;
    suite.addPeer(
        featherName, Column::OpenCV, 9,
        [=] {
            prepare();
            cv::extractChannel(picture(layer), mask, 3);
            mask.convertTo(mask, CV_32F);
            feathered.create(height, width, CV_32FC1);
        },
        [] {
            const int side = 6 * featherRadius + 1;
            cv::GaussianBlur(mask, feathered, cv::Size(side, side), featherRadius, featherRadius, cv::BORDER_REPLICATE);
        });
    for (const Resizing &resizing : resizings)
        suite.addPeer(resizing.name, Column::OpenCV, 5, prepare, [=] {
            static cv::Mat resized;
            cv::resize(picture(photoLayer), resized, cv::Size(resizing.size().width(), resizing.size().height()), 0, 0,
                resizing.filter == Resizing::Lanczos ? cv::INTER_LANCZOS4 : cv::INTER_AREA);
        });
    const auto oneThread = [=] {
        prepare();
        cv::setNumThreads(1);
    };
    suite.addPeer(convolutionName, Column::OpenCV, 3, oneThread, [] {
        cv::Mat cells(5, 5, CV_64F), turned;
        std::copy(std::begin(convolutionCells), std::end(convolutionCells), cells.begin<double>());
        cv::flip(cells, turned, -1); // OpenCV correlates
        cv::filter2D(picture(photoLayer), result, -1, turned, cv::Point(-1, -1), 0, cv::BORDER_CONSTANT);
    });
    suite.addPeer(noiseName, Column::OpenCV, 5, oneThread, [] { cv::randu(result, 0, 256); });
}

} // namespace bench
