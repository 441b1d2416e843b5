// Paints the sample pictures: a machined plate with a bore, a ring of bolt holes and a slot, brushed, lit
// from one side, seen by a noisy camera through dust. Run in the folder that is to hold them:
//
//     part8.png       8 bits a pixel
//     part16.png      the same scene from a better camera: 10 bits, left-aligned in 16
//     dust_mask.png   0 where dust hides the part, 255 elsewhere
//
// Only operations with one right result are used (no library function but square root and rounding), so
// every machine paints the same pixels.
#include "failure.h"
#include "output.h"
#include "picture_file.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace
{

constexpr int sceneWidth = 1280;
constexpr int sceneHeight = 960;
constexpr size_t pixelCount = static_cast<size_t>(sceneWidth) * sceneHeight;
constexpr int speckCount = 90;
constexpr double noise8 = 0.022; // standard deviations, of the full range
constexpr double noise16 = 0.007;

// ---- random numbers ----

uint64_t scrambled(uint64_t key)
{
    key += 0x9e3779b97f4a7c15u;
    key = (key ^ (key >> 30)) * 0xbf58476d1ce4e5b9u;
    key = (key ^ (key >> 27)) * 0x94d049bb133111ebu;
    return key ^ (key >> 31);
}

// From 0 to 1, a function of the two numbers alone.
double uniform(uint64_t stream, uint64_t number)
{
    return static_cast<double>(scrambled(stream * 0x1000000007u + number) >> 40) / 16777216.0;
}

// Mean 0, standard deviation 1, nearly bell-shaped: the sum of four uniform numbers.
double noise(uint64_t stream, uint64_t number)
{
    double sum = 0;
    for (uint64_t i = 0; i < 4; ++i)
        sum += uniform(stream + i, number) - 0.5;
    return sum * 1.7320508;
}

// ---- shapes: signed distances in pixels, negative inside ----

double length(double x, double y)
{
    return std::sqrt(x * x + y * y);
}

double circle(double x, double y, double centreX, double centreY, double radius)
{
    return length(x - centreX, y - centreY) - radius;
}

double roundedBox(double x, double y, double halfWidth, double halfHeight, double radius)
{
    const double dx = std::max(std::fabs(x) - (halfWidth - radius), 0.0);
    const double dy = std::max(std::fabs(y) - (halfHeight - radius), 0.0);
    return length(dx, dy) - radius;
}

// How much of a pixel lies inside a shape at that distance.
double cover(double distance)
{
    return std::clamp(0.5 - distance, 0.0, 1.0);
}

double mix(double a, double b, double share)
{
    return a + (b - a) * share;
}

// ---- the scene: brightness from 0 to 1 at a point counted from the middle of the picture ----

// The nearest of six bolt holes, two of them on the x axis.
double boltHoles(double x, double y, double ringRadius, double holeRadius)
{
    const double ax = std::fabs(x);
    const double ay = std::fabs(y);
    return std::min(circle(ax, ay, ringRadius, 0, holeRadius),
                    circle(ax, ay, ringRadius / 2, ringRadius * 0.8660254037844386, holeRadius));
}

// Brushing: streaks along the rows, each some pixels thick and slowly changing along its length.
double brushing(int column, int row)
{
    const uint64_t piece = static_cast<uint64_t>(column / 160);
    const double along = static_cast<double>(column % 160) / 160.0;
    double sum = 0;
    for (uint64_t scale = 1; scale <= 4; scale *= 2) {
        const uint64_t streak = static_cast<uint64_t>(row) / scale + 5000 * scale;
        sum += mix(noise(20 + 16 * piece, streak), noise(36 + 16 * piece, streak), along);
    }
    return sum / 3;
}

double scene(int column, int row)
{
    const double x = column + 0.5 - sceneWidth / 2.0;
    const double y = row + 0.5 - sceneHeight / 2.0;
    const double belt = 0.13 + 0.03 * y / sceneHeight;
    const double steel =
        0.60 + 0.13 * x / sceneWidth - 0.10 * y / sceneHeight + 0.022 * brushing(column, row);

    const double plate = roundedBox(x, y, 520, 390, 70);
    double value =
        mix(belt, 0.35 * belt, cover(roundedBox(x - 14, y - 18, 520, 390, 70) - 8)); // its shadow
    value = mix(value, 0.86 - 0.1 * y / sceneHeight, cover(plate));                  // its edge
    value = mix(value, steel, cover(plate + 9));

    const double bore = circle(x, y, 0, 0, 150);
    const double facing = (x + y) / (1.0 + length(x, y)); // the chamfer is bright where it faces the light
    value = mix(value, 0.55 + 0.25 * facing, cover(bore - 14));
    value = mix(value, 0.05, cover(bore));

    const double bolts = boltHoles(x, y, 275, 34);
    value = mix(value, 0.78, cover(bolts - 5));
    value = mix(value, 0.08, cover(bolts));

    const double slot = roundedBox(x - 430, y, 22, 190, 22);
    value = mix(value, 0.40, cover(slot - 4));
    value = mix(value, 0.10, cover(slot));

    for (int i = 0; i < 9; ++i) { // the scale at the left edge
        const double tick = roundedBox(x + 455, y - 60.0 * (i - 4), i % 4 == 0 ? 30 : 18, 3, 2);
        value = mix(value, 0.22, cover(tick));
    }
    return value;
}

struct speck {
    double x, y, radius, brightness;
};

std::vector<speck> scatterDust()
{
    std::vector<speck> dust;
    for (uint64_t i = 0; i < speckCount; ++i)
        dust.push_back({uniform(1, i) * sceneWidth, uniform(2, i) * sceneHeight,
                        1.5 + 7 * uniform(3, i) * uniform(4, i), uniform(5, i) < 0.5 ? 0.02 : 0.97});
    return dust;
}

// ---- the pictures ----

struct plane {
    int depth;
    std::vector<uint8_t> bytes;
};

void writePlane(output_set& files, const std::string& path, const plane& pixels)
{
    const picture_view view = {sceneWidth, sceneHeight, pixels.depth, sceneWidth * pixels.depth / 8,
                               pixels.bytes.data()};
    files.add(path, [&](std::FILE* stream, const std::string& name) {
        picture_write(stream, name, picture_format::png, view);
    });
}

void put16(plane& target, size_t index, uint16_t value)
{
    std::copy_n(reinterpret_cast<const uint8_t*>(&value), 2, &target.bytes[2 * index]);
}

uint32_t quantised(double value, uint32_t greatest)
{
    return static_cast<uint32_t>(std::lround(std::clamp(value, 0.0, 1.0) * greatest));
}

std::vector<double> paintScene()
{
    std::vector<double> values;
    values.reserve(pixelCount);
    for (int row = 0; row < sceneHeight; ++row)
        for (int column = 0; column < sceneWidth; ++column)
            values.push_back(scene(column, row));
    return values;
}

// Lays one speck over the scene, and hides its pixels in the mask.
void addSpeck(const speck& spot, std::vector<double>& values, plane& mask)
{
    const int reach = static_cast<int>(spot.radius) + 2;
    const int middleX = static_cast<int>(spot.x);
    const int middleY = static_cast<int>(spot.y);
    for (int row = std::max(middleY - reach, 0); row < std::min(middleY + reach + 1, sceneHeight); ++row)
        for (int column = std::max(middleX - reach, 0); column < std::min(middleX + reach + 1, sceneWidth);
             ++column) {
            const size_t index = static_cast<size_t>(row) * sceneWidth + static_cast<size_t>(column);
            const double share = cover(circle(column + 0.5, row + 0.5, spot.x, spot.y, spot.radius));
            values[index] = mix(values[index], spot.brightness, share);
            if (share > 0)
                mask.bytes[index] = 0;
        }
}

void paint(output_set& files)
{
    plane part8 = {8, std::vector<uint8_t>(pixelCount)};
    plane part16 = {16, std::vector<uint8_t>(2 * pixelCount)};
    plane mask = {8, std::vector<uint8_t>(pixelCount, 255)};
    std::vector<double> values = paintScene();
    for (const speck& spot : scatterDust())
        addSpeck(spot, values, mask);
    for (size_t i = 0; i < pixelCount; ++i) {
        part8.bytes[i] = static_cast<uint8_t>(quantised(values[i] + noise8 * noise(10, i), 255));
        put16(part16, i, static_cast<uint16_t>(quantised(values[i] + noise16 * noise(14, i), 1023) << 6));
    }
    writePlane(files, "part8.png", part8);
    writePlane(files, "part16.png", part16);
    writePlane(files, "dust_mask.png", mask);
}

} // namespace

int main()
{
    try {
        output_set files;
        paint(files);
        files.publish();
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "make_samples: %s\n", problem.what());
        return EXIT_REFUSED;
    }
}
