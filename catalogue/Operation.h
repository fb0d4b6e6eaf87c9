#pragma once

/// @file
/// Every operation of the library, described once.
///
/// An entry says how an operation is made, with which parameters it shows what it does, and what it promises. Whatever
/// goes through all operations takes them from here: the tests of what they promise, the fuzz target of the parameter
/// streams, rows of the benchmark, the sheets of the tour, and the page docs/operations.md. A new operation is one more
/// entry in Modes.cpp, Filters.cpp, Samplers.cpp or the file of a family of adjustments. The catalogue uses the public
/// headers alone and is not installed.
///
/// Some things are no entry, because they are none of these kinds, or are one already; tests of their own hold them.
/// What derives from OPColorTransformBase changes whole images by rules of its own; what OPColorTransformStack and
/// OPRGBA32ColorProfileTransform do to a pixel is an entry. OPUniformNoise and OPGaussianNoise give another pixel with
/// each call; OPAddNoiseProcessing is the entry. TransformImage and ScaleImage take the nearest pixels, for other
/// storages. ComposeSource, ComposeAlphaDarken and ComposeDualBrush
/// take neither a mode nor an opacity as the modes do. The runEx of a filter makes an image of another size, by the
/// same passes as run. What KXGpuService draws is an adjustment that is an entry, with the same results.

#include "KXBlend.h"
#include "KXResizeImage.h"
#include "OPAdjustmentProcessing.h"

#include "BaseTransformation.h"

#include <QtCore/QDataStream>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QTransform;

namespace catalogue {

/// What kind of thing an operation is, and so how it is called.
enum class Kind {
    Mode, ///< lays a second picture over the first
    Adjustment, ///< changes each pixel by itself
    Filter, ///< a pixel's result depends on others; cancellable, with a selection and a parameter stream
    Sampler, ///< makes a picture of another one, through a QTransform
    Resizing ///< makes a picture of another size
};

/// What an operation works on. All but filters look at the images alone.
struct Input : KXFilterData {
    RGBA32iImage upper; ///< for modes: what is laid over @c image, of the same size
};

/// How a run is watched and stopped. Functions may be empty.
struct Watch {
    const std::atomic<bool> &cancel;
    std::function<void(int maximum)> range; ///< called once, before the first step
    std::function<void()> step; ///< called for each step, from any thread
};

/// A parameter as the manual lists it.
struct Parameter {
    std::string name, unit, range, meaning;
};

/// What holds whatever the parameters are, or for some of them at least where it is a need. The shared tests hold every
/// operation against it in both directions: a promise that could be made is to be made. Constants of the same names,
/// such as @c keepsAlpha, are each one promise alone; | joins them.
struct Promises {
    bool keepsAlpha = false; ///< no pixel's alpha changes
    bool dependsOnPosition = false; ///< an adjustment that is given a pixel's position
    bool needsFlat = false; ///< a tiled image does not get the same pixels as a flat one
    bool needsTwoProcessors = false; ///< on a single processor the pixels are others
};

constexpr Promises keepsAlpha { true, false, false, false };
constexpr Promises dependsOnPosition { false, true, false, false };
constexpr Promises needsFlat { false, false, true, false };
constexpr Promises needsTwoProcessors { false, false, false, true };

constexpr Promises operator|(const Promises &a, const Promises &b)
{
    return { a.keepsAlpha || b.keepsAlpha, a.dependsOnPosition || b.dependsOnPosition, a.needsFlat || b.needsFlat,
        a.needsTwoProcessors || b.needsTwoProcessors };
}

/// Parameters that have a stream, whatever their type.
class ParamsValue {
public:
    virtual ~ParamsValue() = default;
    virtual bool Write(QDataStream &stream) const = 0;
    virtual bool Read(QDataStream &stream) = 0;
    virtual void StreamOut(QDataStream &stream) const = 0; ///< operator<<
    virtual void StreamIn(QDataStream &stream) = 0; ///< operator>>
};

/// One choice of parameters.
struct Variant {
    std::string name; ///< for people, such as "sigma 5"; empty where there is nothing to choose

    /// Runs the operation. The image comes back, whether it was written in place or is a new one.
    std::function<RGBA32iImage(const Input &, const Watch &)> run;

    /// Adjustments: an object with these parameters, and one that is a copy of such an object.
    std::function<std::shared_ptr<BaseTransformation>()> make, makeCopy;

    /// Where the operation has a signature: these parameters as a value.
    std::function<std::unique_ptr<ParamsValue>()> params;
};

/// What the manual says of an operation.
struct About {
    std::string name; ///< for people
    std::string className; ///< or a function, or the enumerator of a mode or a KXResizeType
    std::string summary; ///< one sentence
    std::vector<Parameter> parameters;
    std::string cost; ///< what it costs, in words
    std::string kernel; ///< symbols of the module that serve it; empty where none does
    Promises promises;
};

/// An operation.
struct Operation : About {
    Kind kind = Kind::Adjustment;
    KXCompositionMode mode = KXCompositionMode::Destination; ///< of a mode
    std::string signature; ///< with which the parameter stream begins; empty where there is none
    std::vector<Variant> variants; ///< at least one; the first is the one that shows best what the operation does

    /// Of a sampler: lays a source into a destination, through a transform. It may leave the source changed.
    bool (*sample)(const RGBA32iImage &, const QTransform &, RGBA32iImage &, const QRect &) = nullptr;
    KXResizeType resizeType = KXResizeBox; ///< of a resizing
};

/// All of them, kind by kind.
const std::vector<Operation> &operations();

/// Those of one kind.
std::vector<Operation> operations(Kind kind);

} // namespace catalogue
