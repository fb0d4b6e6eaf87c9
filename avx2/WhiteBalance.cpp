#include "Kernel.h"
#include "TableLookUp.h"

#include "KXWBTransformation.h"

// Each kernel does what it is called, whatever the object's own function is: see KXWBTransformation.

using Balance = KXWBTransformation::BalanceFunction;

KXCORE_KERNEL void WhiteBalanceAutoAVX2(const KXWBTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(Balance::Auto), pixels);
}

KXCORE_KERNEL void WhiteBalanceOverExposureAVX2(const KXWBTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(Balance::OverExposure), pixels);
}

KXCORE_KERNEL void WhiteBalanceUnderExposureAVX2(const KXWBTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(Balance::UnderExposure), pixels);
}
