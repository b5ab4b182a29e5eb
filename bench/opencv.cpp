#include <opencv2/calib3d.hpp>
#include <opencv2/core/utility.hpp>

#include "contenders.h"

namespace {

void computeMap(const LensModel& lens, int32_t ratio, float* x, float* y) {
    // A camera with fewer pixels of `ratio` times the size sees the same scene.
    const auto centre = [&](double c) { return (c + 0.5) / ratio - 0.5; };
    const cv::Matx33d camera(lens.fx / ratio, 0, centre(lens.cx), 0, lens.fy / ratio,
                             centre(lens.cy), 0, 0, 1);
    const cv::Matx41d distortion(LensModel::bend, 0, 0, 0);
    const cv::Size size(lens.width / ratio, lens.height / ratio);
    cv::Mat xMap(size, CV_32FC1, x);
    cv::Mat yMap(size, CV_32FC1, y);
    cv::initUndistortRectifyMap(camera, distortion, cv::noArray(), camera, size, CV_32FC1, xMap,
                                yMap);
    if (xMap.ptr<float>() != x || yMap.ptr<float>() != y) {
        throw std::runtime_error("OpenCV has not used the caller's arrays");
    }
}

}  // namespace

void mapWithOpenCv(const LensModel& lens, int32_t ratio, float* x, float* y) {
    cv::setNumThreads(1);
    computeMap(lens, ratio, x, y);
}

void mapWithOpenCvThreads(const LensModel& lens, int32_t ratio, float* x, float* y) {
    cv::setNumThreads(-1);
    computeMap(lens, ratio, x, y);
}
