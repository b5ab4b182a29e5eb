// opencv_maps MODEL WIDTH HEIGHT FX FY CX CY TERM...: writes what OpenCV makes of a lens, as raw
// floats: the maps of the straightened image (x, then y), and where each recorded pixel lies in it.
// MODEL is fisheye or pinhole.

#include <cstdio>
#include <cstdlib>
#include <opencv2/calib3d.hpp>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    std::vector<double> numbers;
    for (int i = 2; i < argc; ++i) {
        numbers.push_back(std::strtod(argv[i], nullptr));
    }
    if (numbers.size() < 10) {
        return 2;
    }
    const bool isFisheye = std::string(argv[1]) == "fisheye";
    const cv::Size size(static_cast<int>(numbers[0]), static_cast<int>(numbers[1]));
    const cv::Matx33d camera(numbers[2], 0, numbers[4], 0, numbers[3], numbers[5], 0, 0, 1);
    const std::vector<double> terms(numbers.begin() + 6, numbers.end());

    cv::Mat mapX;
    cv::Mat mapY;
    std::vector<cv::Point2f> recorded;
    for (int row = 0; row < size.height; ++row) {
        for (int col = 0; col < size.width; ++col) {
            recorded.emplace_back(static_cast<float>(col), static_cast<float>(row));
        }
    }
    std::vector<cv::Point2f> straight;
    if (isFisheye) {
        cv::fisheye::initUndistortRectifyMap(camera, terms, cv::Matx33d::eye(), camera, size,
                                             CV_32FC1, mapX, mapY);
        cv::fisheye::undistortPoints(recorded, straight, camera, terms, cv::noArray(), camera);
    } else {
        cv::initUndistortRectifyMap(camera, terms, cv::noArray(), camera, size, CV_32FC1, mapX,
                                    mapY);
        const cv::TermCriteria exact(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 500, 1e-10);
        cv::undistortPoints(recorded, straight, camera, terms, cv::noArray(), camera, exact);
    }
    const auto pixels = static_cast<std::size_t>(size.area());
    std::fwrite(mapX.ptr<float>(), sizeof(float), pixels, stdout);
    std::fwrite(mapY.ptr<float>(), sizeof(float), pixels, stdout);
    std::fwrite(straight.data(), sizeof straight[0], pixels, stdout);
    return 0;
}
