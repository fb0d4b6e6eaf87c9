#pragma once

#include "Operation.h"

#include "OPTransformImageColors.h"

#include <QtCore/QObject>
#include <QtCore/QThreadPool>

#include <type_traits>
#include <utility>

/// How entries are made from the library's classes.
namespace catalogue {

std::vector<Operation> modes();
std::vector<Operation> toneAdjustments();
std::vector<Operation> colorAdjustments();
std::vector<Operation> selectiveColors();
std::vector<Operation> whiteBalance();
std::vector<Operation> profileAdjustments();
std::vector<Operation> alphaAdjustments();
std::vector<Operation> glowThresholds();
std::vector<Operation> vignettes();
std::vector<Operation> filters();
std::vector<Operation> samplers();
std::vector<Operation> resizings();

constexpr auto threeLoads = "three loads from tables a pixel, whatever the parameters"; // a cost

/// A choice of parameters, with what is made of it.
template <class Value>
struct Choice {
    std::string name;
    Value value;
};

/// An adjustment, made by each of @p choices: functions that return a Transformation.
template <class Transformation>
Operation adjustment(About about, std::vector<Choice<std::function<Transformation()>>> choices)
{
    Operation operation { std::move(about), Kind::Adjustment, {}, {}, {} };
    operation.promises.needsTwoProcessors = true; // walks leave one processor to the caller
    for (const auto &choice : choices) {
        const auto make = choice.value;
        const bool dependsOnPosition = operation.promises.dependsOnPosition;
        Variant variant;
        variant.name = choice.name;
        variant.make = [make] { return std::make_shared<Transformation>(make()); };
        variant.makeCopy = [make] {
            const auto original = std::make_unique<Transformation>(make());
            return std::make_shared<Transformation>(*original); // which is gone before the copy is used
        };
        variant.run = [make, dependsOnPosition](const Input &input, const Watch &watch) {
            RGBA32iImage image = input.image;
            if (watch.range)
                watch.range(image.Height());
            if (dependsOnPosition) {
                OPPixelIterativeTransformImageColors<Transformation>(
                    make(), &image, image.Rect(), watch.cancel, watch.step)();
                QThreadPool::globalInstance()->waitForDone(); // over tiles it runs on by itself, and needs the image
            } else {
                OPIterativeTransformImageColors<Transformation>(
                    make(), &image, image.Rect(), watch.cancel, watch.step)();
            }
            return image;
        };
        operation.variants.push_back(std::move(variant));
    }
    return operation;
}

/// An adjustment without parameters.
template <class Transformation>
Operation adjustment(About about)
{
    return adjustment<Transformation>(std::move(about), { { "", [] { return Transformation(); } } });
}

namespace detail {

/// The type of the data value that Filter::run takes.
template <class Filter, class Result, class Data>
Data argumentOf(Result (Filter::*)(Data));

inline const RGBA32iImage &imageOf(const RGBA32iImage &result) { return result; }
template <class Result>
const RGBA32iImage &imageOf(const Result &result)
{
    return result.image;
}

template <class Params>
class ParamsOf : public ParamsValue {
public:
    explicit ParamsOf(Params params)
        : m_params(std::move(params))
    {
    }
    bool Write(QDataStream &stream) const override { return m_params.Write(stream); }
    bool Read(QDataStream &stream) override { return m_params.Read(stream); }
    void StreamOut(QDataStream &stream) const override { stream << m_params; }
    void StreamIn(QDataStream &stream) override { stream >> m_params; }

private:
    Params m_params;
};

} // namespace detail

/// A filter whose parameter stream begins with @p signature, run with each of @p choices.
template <class Filter>
Operation filter(About about, std::string signature, std::vector<Choice<typename Filter::Params>> choices)
{
    Operation operation { std::move(about), Kind::Filter, {}, std::move(signature), {} };
    using Params = typename Filter::Params;
    using Data = decltype(detail::argumentOf(&Filter::run));
    for (const auto &choice : choices) {
        const Params params = choice.value;
        Variant variant;
        variant.name = choice.name;
        variant.params = [params] { return std::make_unique<detail::ParamsOf<Params>>(params); };
        variant.run = [params](const Input &input, const Watch &watch) {
            Filter filter(watch.cancel);
            if (watch.range)
                QObject::connect(
                    &filter, &Filter::RangeChanged, &filter, [&watch](int, int maximum) { watch.range(maximum); },
                    Qt::DirectConnection);
            std::atomic<int> steps { 0 };
            const auto reach = [&](int value) { // in one step more, or in several; a value may be late
                for (int step = steps; step < value;)
                    if (steps.compare_exchange_weak(step, step + 1))
                        watch.step();
            };
            if (watch.step)
                QObject::connect(&filter, &Filter::ProgressChanged, &filter, reach, Qt::DirectConnection);
            Data data;
            static_cast<KXFilterData &>(data) = input;
            data.params = params;
            return detail::imageOf(filter.run(std::move(data)));
        };
        operation.variants.push_back(std::move(variant));
    }
    return operation;
}

} // namespace catalogue
