#pragma once

/// @file
/// A chain of colour transformations.

#include "OPColorTransformBase.h"

#include <QtCore/QMutex>
#include <QtCore/QVector>

/// Transformations that are applied one after the other.
///
/// Order    With A pushed before B, every @c operator() but one applies A, then B; every @c Invert applies B, then A.
///          **The image form of @c operator() runs the other way: B, then A.** This is intended.
/// Images   The two KXImage forms hand the elements' raw-memory forms the flat buffer and width * height. Those count
///          bytes, so **of a flat image the first quarter of its pixels is changed**, and of a tiled one nothing: its
///          elements get a null pointer. This is intended too; elements that ignore raw memory have no effect here.
/// Nulls    May be pushed, and are skipped by every form except @c operator()(OPRGBA32i &), which none must reach.
/// Owner    The stack owns what it holds **when it is destroyed** and deletes that, so it must hold nothing twice then.
///          @c Pop hands ownership to its caller, @c Top lends, and @c PopAll forgets its elements without deleting
///          them.
/// Threads  Every operation may be called from any thread. A traversal holds the stack's lock, which is not recursive,
///          until its last element has returned: an element must not call back into its stack.
/// Errors   None of its own. What an element throws leaves the traversal at that element. A debug build asserts that
///          nothing is held twice, and that elements are asked only of a stack that has some.
class KX_EXPORT OPColorTransformStack : public OPColorTransformBase {
public:
    OPColorTransformStack() = default;
    OPColorTransformStack(const OPColorTransformStack &) = delete;
    OPColorTransformStack &operator=(const OPColorTransformStack &) = delete;
    ~OPColorTransformStack() override;

    /// Appends @p transform, which may be null.
    void Push(OPColorTransformBase *transform);
    /// Removes the last element and returns it, now the caller's. The stack must not be empty.
    OPColorTransformBase *Pop();
    /// The last element, which stays the stack's. The stack must not be empty.
    OPColorTransformBase *Top() const;
    /// Empties the stack **without deleting anything**: who still needs the elements, if only to delete them, keeps
    /// pointers of their own. Takes the lock once per element, so that what another thread pushes meanwhile is dropped
    /// too; ends when it sees the stack empty.
    void PopAll();
    bool isEmpty() const;

    void operator()(void *data, unsigned int byteCount) const override;
    void operator()(RGBA32iImage &image) const override;
    void operator()(QImage &image) const override;
    void operator()(OPHSLA &pixel) const override;
    void operator()(OPRGBA128f &pixel) const override;
    void operator()(OPRGBA128i &pixel) const override;
    void operator()(OPRGBA64f &pixel) const override;
    void operator()(OPRGBA64i &pixel) const override;
    void operator()(OPRGBA32i &pixel) const override;

    void Invert(void *data, unsigned int byteCount) const override;
    void Invert(RGBA32iImage &image) const override;
    void Invert(QImage &image) const override;
    void Invert(OPRGBA128f &pixel) const override;
    void Invert(OPRGBA128i &pixel) const override;
    void Invert(OPRGBA64f &pixel) const override;
    void Invert(OPRGBA64i &pixel) const override;
    void Invert(OPRGBA32i &pixel) const override;

private:
    template <class Visit>
    void FirstToLast(Visit visit) const;
    template <class Visit>
    void LastToFirst(Visit visit) const;

    mutable QMutex m_Mutex;
    QVector<OPColorTransformBase *> m_Stack;
};
