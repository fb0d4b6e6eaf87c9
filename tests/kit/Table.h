#pragma once

#include "kit/Test.h"

namespace kit {

/// The table of a data-driven test, with columns of these types.
template <class... Types>
class Table {
public:
    template <class... Names>
    explicit Table(Names... names)
    {
        (QTest::addColumn<Types>(names), ...);
    }

    void row(const char *name, const Types &...values) const { (QTest::newRow(name) << ... << values); }
};

} // namespace kit
