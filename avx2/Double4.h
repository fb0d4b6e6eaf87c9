#pragma once

#include <immintrin.h>

/// Four doubles at once, with the functions of src/filters/VignetteFormulas.h and what a brush stamp needs.
namespace vectors {

struct Double4 {
    __m256d v;

    Double4() = default;
    Double4(__m256d lanes)
        : v(lanes)
    {
    }
    explicit Double4(double value)
        : v(_mm256_set1_pd(value))
    {
    }
};

inline Double4 operator+(Double4 x, Double4 y) { return _mm256_add_pd(x.v, y.v); }
inline Double4 operator-(Double4 x, Double4 y) { return _mm256_sub_pd(x.v, y.v); }
inline Double4 operator*(Double4 x, Double4 y) { return _mm256_mul_pd(x.v, y.v); }
inline Double4 operator/(Double4 x, Double4 y) { return _mm256_div_pd(x.v, y.v); }
inline Double4 operator>(Double4 x, Double4 y) { return _mm256_cmp_pd(x.v, y.v, _CMP_GT_OQ); } // all ones or all zeros
inline Double4 operator==(Double4 x, Double4 y) { return _mm256_cmp_pd(x.v, y.v, _CMP_EQ_OQ); }
inline Double4 inSingle(Double4 x) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(x.v)); } // rounded to single precision
inline Double4 root(Double4 x) { return _mm256_sqrt_pd(x.v); }
inline Double4 magnitude(Double4 x) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), x.v); }
/// The instructions give their second operand where the comparison fails.
inline Double4 smaller(Double4 x, Double4 y) { return _mm256_min_pd(x.v, y.v); }
inline Double4 larger(Double4 x, Double4 y) { return _mm256_max_pd(x.v, y.v); }
inline Double4 select(Double4 mask, Double4 yes, Double4 no) { return _mm256_blendv_pd(no.v, yes.v, mask.v); }

} // namespace vectors
