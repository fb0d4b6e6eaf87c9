#include "KXGaussianBase.h"

#include "support/Arithmetic.h"

#include "Gaussian.h"

#include <algorithm>
#include <stdexcept>

int KXGaussianBase::Reach(double sigma) { return std::max(arithmetic::truncate(sigma * 3.0), 1); }

void KXGaussianBase::Init(unsigned int radius)
{
    if (radius == 0) { // the formula would divide by a sigma of 0
        m_radius = 0;
        m_weights.assign(1, 1.0);
        return;
    }
    Init(radius, radius * 0.3333333333333333);
}

void KXGaussianBase::Init(unsigned int radius, double sigma)
{
    if (radius > MaximumRadius)
        throw std::length_error("the radius of a Gaussian is limited to 4194303");
    m_weights = lines::gaussian(radius, sigma);
    m_radius = radius;
    const double scale = 1.0 / lines::sumFromMiddle(m_weights);
    for (double &weight : m_weights)
        weight *= scale;
}
