// Comparing two renders: root-mean-square and mean differences over a region, relative to the
// reference's mean, and a heat map of where they differ. The diff command, the golden-image
// tests and the convergence benchmark all measure with these.
#pragma once

#include "image_io.h"

namespace vkrender {

struct ImageDifference {
    double rmse = 0.0;            // over the R, G and B channels of every pixel of the region
    double relativeRmse = 0.0;    // rmse / referenceMean (0 when the reference is black)
    double meanDifference = 0.0;  // mean of (image - reference): a bias shows here, noise cancels
    double maxDifference = 0.0;   // largest |image - reference| of one channel
    double referenceMean = 0.0;   // mean of the reference's R, G and B
    int maxX = 0;                 // where the largest difference is
    int maxY = 0;
};

// A rectangle of pixels; a width of 0 means the whole image.
struct Region {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

// The images must have the same size (ImageError otherwise).
ImageDifference compareImages(const vkimage::Image& image, const vkimage::Image& reference,
                              Region region = {});

// |image - reference| (the channels' mean) per pixel, mapped through black, blue, red, yellow
// and white so that `scale` is white; a scale of 0 takes the largest difference.
vkimage::Image differenceHeatMap(const vkimage::Image& image, const vkimage::Image& reference,
                                 float scale = 0.0f);

}  // namespace vkrender
