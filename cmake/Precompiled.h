// What most sources include, by themselves or through the public headers; see kxcore_pch.
#ifdef QT_TESTLIB_LIB
#include <QtTest/QtTest>
#endif
#include <QtCore/QDataStream>
#include <QtGui/QImage>
#include <QtGui/QPainterPath>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>
