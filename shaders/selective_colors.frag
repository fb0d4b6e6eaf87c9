#version 330 core

// Selective colours. What src/color/SelectiveColors.h computes stands here again, by the same names, with the same
// operations in the same order: change both together, and tst_gpu tells whether they agree. A driver may contract
// a * b + c where it is not told otherwise, which moves a channel by a step once in a great many pixels.
#ifdef GL_ARB_gpu_shader5
#extension GL_ARB_gpu_shader5 : enable
#define EXACT precise
#else
#define EXACT
#endif

uniform int uMode; // 0 relative, anything else absolute
uniform sampler2D uTexture;
uniform sampler2D uSelectionMask;
uniform int uUseMask;
uniform vec2 uMaskOffset; // in pixels of the picture
uniform vec2 uMaskSize;
uniform float uCyan[9], uMagenta[9], uYellow[9], uBlack[9]; // per cent, by range

in vec2 placeInPicture;
out vec4 color;

const float leastWeight = 1e-5; // a range acts where its weight is above this

// The first argument where one of the two is no number, as in C++; GLSL's own functions leave that open.
float least(float a, float b) { return b < a ? b : a; }
float most(float a, float b) { return a < b ? b : a; }
vec3 least(vec3 a, vec3 b) { return mix(a, b, lessThan(b, a)); }
vec3 most(vec3 a, vec3 b) { return mix(a, b, lessThan(a, b)); }

float positive(float x) { return most(0.0, x); }
vec3 positive(vec3 x) { return most(vec3(0.0), x); }

float whites(float least)
{
    EXACT float t = positive(2.0 * (least - 0.5)); // 0 unless all channels are above 0.5
    EXACT float weight = t * t * 1.1;
    return weight;
}

float neutrals(float least, float most)
{
    EXACT float weight = 1.0 - (abs(least - 0.5) + abs(most - 0.5));
    return positive(weight);
}

// The factor of the largest channel is intended: black itself is not in the blacks.
float blacks(float most)
{
    EXACT float weight = 2.0 * (0.5 - most) * most; // not above 0 unless all channels are below 0.5
    return positive(weight) * 1.1;
}

// The weights of a colour in all ranges: reds, yellows, greens, cyans, blues, magentas, whites, neutrals, blacks.
float[9] weights(float r, float g, float b)
{
    float smallest = least(least(r, g), b), largest = most(most(r, g), b);
    return float[9](
        positive(r - most(g, b)),
        positive(least(r, g) - b),
        positive(g - most(r, b)),
        positive(least(g, b) - r),
        positive(b - most(r, g)),
        positive(least(r, b) - g),
        whites(smallest),
        neutrals(smallest, largest),
        blacks(largest));
}

// What the inks of a range ask of each channel: -1 takes all of it away.
vec3 change(vec3 colour, float black)
{
    EXACT vec3 asked = -colour - (colour + 1.0) * black;
    return asked;
}

// What a range of this weight adds to the channels.
vec3 added(vec3 value, vec3 change, vec3 scale, float weight)
{
    EXACT vec3 addition = most(least(change * scale, 1.0 - value), -value) * weight;
    return addition;
}

// The whole number nearest to a channel's value times 255, limited, with what is no number as 0, and halves rounded up.
// The header proves that the largest float below 0.5 is right for that.
vec3 level(vec3 value)
{
    EXACT vec3 above = least(positive(value), vec3(1.0)) * 255.0 + 0.49999997;
    return floor(above);
}

vec3 adjusted(vec3 bytes)
{
    EXACT vec3 value = bytes * 0.003921569;
    EXACT vec3 sum = vec3(0.0);
    vec3 scale = uMode != 0 ? vec3(1.0) : 1.0 - value;
    float weight[9] = weights(value.r, value.g, value.b);
    for (int i = 0; i < 9; ++i)
        if (weight[i] > leastWeight) {
            EXACT vec3 inks = vec3(uCyan[i], uMagenta[i], uYellow[i]) * 0.01;
            EXACT float black = uBlack[i] * 0.01;
            sum += added(value, change(inks, black), scale, weight[i]);
        }
    EXACT vec3 result = value + sum;
    return level(result);
}

// How much of the effect the mask lets through here: its alpha within its rectangle, nothing outside.
float coverage(ivec2 pixel)
{
    if (uUseMask == 0)
        return 1.0;
    ivec2 place = pixel - ivec2(uMaskOffset);
    if (any(lessThan(place, ivec2(0))) || any(greaterThanEqual(place, ivec2(uMaskSize))))
        return 0.0;
    return texelFetch(uSelectionMask, place, 0).a;
}

void main()
{
    // The place is that of a pixel's centre, half a pixel from the next one: more than interpolation may be wrong by.
    ivec2 pixel = ivec2(placeInPicture * vec2(textureSize(uTexture, 0)));
    vec4 texel = texelFetch(uTexture, pixel, 0);
    vec3 before = floor(texel.rgb * 255.0 + 0.5);
    vec3 after = mix(before, adjusted(before), coverage(pixel));
    color = vec4(floor(after + 0.5) / 255.0, texel.a);
}
