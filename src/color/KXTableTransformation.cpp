#include "KXTableTransformation.h"

#include "Tables.h"

KXTableTransformation::KXTableTransformation()
    : m_Tables(color::sameTables([](int i) { return i; }))
{
}

void KXTableTransformation::operator()(OPRGBA32i &pixel) const { pixel = m_Tables(pixel); }
