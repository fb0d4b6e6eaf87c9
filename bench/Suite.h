#pragma once

#include "Scene.h"

#include "KXBlend.h"

#include <QtGui/QPainter>

#include <functional>
#include <map>
#include <string>
#include <vector>

/// What is measured: operations, each by several implementations, on images of one size.
namespace bench {

#ifdef KXCORE_BENCH_TINY
constexpr bool isTiny = true; ///< to try the benchmark itself: nothing that it measures then means anything
constexpr int width = 320, height = 180;
#else
constexpr bool isTiny = false;
constexpr int width = 3840, height = 2160;
#endif
constexpr double pixels = double(width) * height;

/// The columns of the table. Ours appears twice in it: a process is either plain or has the module.
enum class Column { Plain, Module, PainterStraight, PainterPremultiplied, OpenCV, Vips, LittleCms, TextLayout, OpenGl };
constexpr int columnCount = 9;
const char *columnName(Column column);
constexpr bool isPeer(Column column) { return column > Column::Module; }

/// What a process measures. One process cannot measure ours both ways, as kernels are bound once.
enum class Role { Plain, Module, Peers };

/// A time that an operation is to be compared with: that of a peer, or ours. It is that of another operation if
/// @c operation is set.
struct Goal {
    Column column = Column::Module;
    std::string operation;
    double ratio = 0; ///< reference time divided by our time, at least; 0: no goal
};

/// A second table, for what is measured on several kinds of pictures: a line for each operation.
struct Sheet {
    /// The times of one implementation on one kind of pictures. Column::Module stands for ours, with what was reached
    /// of the goal behind it.
    struct Times {
        const char *head;
        const char *pictures;
        Column column;
    };

    const char *title; ///< what it shows, above the table
    const char *lineHead;
    std::vector<Times> columns;
    const char *goalsOf; ///< the pictures whose goals stand at the ends of the lines, or null
};

/// A row of the table. Where @c sheet is set the row is a cell of that table instead.
struct Row {
    std::string operation;
    Goal goal;
    std::map<Column, double> nanosecondsPerPixel;
    const Sheet *sheet = nullptr;
    std::string line, pictures;
};

/// Collects what there is to measure for one role.
class Suite {
public:
    explicit Suite(Role role)
        : m_role(role)
    {
    }

    /// A row, in the order of the calls.
    void addRow(const std::string &operation, const Goal &goal = {});

    /// A cell of @p sheet, which outlives the suite. Returns its operation, "pictures line".
    std::string addCell(const Sheet &sheet, const std::string &line, const std::string &pictures, const Goal &goal);

    /// Ours: @p run is timed, @p prepare before each run is not. @p repetitions in a round.
    void addOurs(
        const std::string &operation, int repetitions, std::function<void()> prepare, std::function<void()> run);
    /// Ours where only the module has it.
    void addModule(
        const std::string &operation, int repetitions, std::function<void()> prepare, std::function<void()> run);
    void addPeer(const std::string &operation, Column column, int repetitions, std::function<void()> prepare,
        std::function<void()> run);

    Role role() const { return m_role; }
    const std::vector<Row> &rows() const { return m_rows; }

private:
    void add(const std::string &operation, Column column, int repetitions, std::function<void()> prepare,
        std::function<void()> run);

    Role m_role;
    std::vector<Row> m_rows;
};

void addComposition(Suite &suite);
void addFilters(Suite &suite);
void addGeometry(Suite &suite);
void addPaintings(Suite &suite);
void addOpenGl(Suite &suite); ///< its column only where there is a display with OpenGL 3.3
void addProfiles(Suite &suite);
void addText(Suite &suite);
void addOperations(Suite &suite); ///< of the catalogue; modes have addComposition
void addRetouching(Suite &suite);
void addTransforms(Suite &suite); ///< resampling, on the calling thread
void addOpenCV(Suite &suite); ///< only where it is installed
void addVips(Suite &suite); ///< only where it is installed

/// The format that a column of QPainter's is measured on.
QImage::Format formatOf(Column painter);
/// QPainter on pictures of @p under: @p paint is timed, @p prepare before it is not.
void addPainter(Suite &suite, const std::string &operation, Column column, Scene under,
    const std::function<void()> &prepare, const std::function<void(QPainter &)> &paint);

/// The operations that a peer has too: what is measured, and the names of their rows.
constexpr int gaussianSigmas[] = { 1, 5, 20, 100 };
constexpr int boxRadii[] = { 5, 50 };
constexpr int sharpenAmount = 150; ///< 1785ths
constexpr char sharpenName[] = "sharpen";
constexpr int featherRadius = 10;
constexpr char featherName[] = "feather an alpha mask, radius 10";
/// A picture resized by a factor.
struct Resizing {
    enum Filter { Box, Lanczos };

    const char *name;
    Filter filter;
    double factor;
    double goal; ///< times faster than OpenCV's nearest filter, which does not widen when it reduces
    double goalBeyondVips; ///< and than libvips; 0: not asked for

    QSize size() const { return { int(width * factor), int(height * factor) }; }
};
constexpr Resizing resizings[] = { { "resize to 1/2, Lanczos", Resizing::Lanczos, 0.5, 1.5, 1.2 },
    { "resize to 1.5, Lanczos", Resizing::Lanczos, 1.5, 3, 0 }, { "resize to 1/2, box", Resizing::Box, 0.5, 0.2, 0 } };
/// Taps of any shape, without symmetry.
constexpr char convolutionName[] = "convolve a QImage, 5 x 5, one thread";
constexpr double convolutionCells[] = { 0.01, 0.02, 0.04, 0.03, -0.02, 0.05, 0.06, 0.08, 0.05, 0.02, 0.03, 0.09, 0.21,
    0.07, 0.04, -0.01, 0.05, 0.06, 0.03, 0.02, 0.02, 0.01, 0.03, 0.02, -0.01 };
constexpr char noiseName[] = "uniform noise, one thread";
std::string gaussianName(int sigma);
std::string boxName(int radius);
std::string composeName(KXCompositionMode mode);
constexpr char lookUpOf4[] = "OpenCV LUT, 4 channels";
/// Measuring a picture for a white balance. OpenCV's histograms, means and deviations of its channels stand for that.
constexpr Scene measuredScenes[] = { photoLayer, layer };
std::string measuringName(Scene scene);
/// Flood fills of a photo whose colours are all within the tolerance, as no other channel than alpha limits it;
/// OpenCV's has three channels, as it takes no four.
constexpr char floodFillName[] = "flood fill, all of a photo, marked";
constexpr char floodFillIntoName[] = "flood fill, all of a photo, painted";
constexpr char floodFillImageName[] = "flood fill, all of a photo, QImage";
constexpr char floodFillPartName[] = "flood fill, a part of a photo, marked";
constexpr char colorRangeName[] = "color range fill";
constexpr int fillSeed[] = { width / 2, height / 2 };
constexpr unsigned fillAll = 0x00FFFFFF, fillPart = 0x003C3C3C; ///< tolerances
constexpr char hlsAndBack[] = "OpenCV BGR to HLS and back";

/// Prints the table, and writes it to @p jsonFile if that is not empty. False when the file cannot be written.
bool report(const std::vector<Row> &rows, const std::string &jsonFile);

} // namespace bench
