/**
 * calibmap: calibration data and distortion maps of a device with two cameras.
 *
 * The library reads the device's calibration file (6268 bytes), verifies its four checksums and its
 * pass flag, and offers two services.
 *
 * 1. The parameters of both cameras, copied bit for bit from the file:
 *
 *        CameraIntrinsics mainCamera, subCamera;
 *        CameraExtrinsics extrinsics;
 *        if (GetCameraIntrinsicAndExtrinsic(&mainCamera, &subCamera, &extrinsics) == 0) {
 *            printf("%d x %d, focal length %f\n", (int)mainCamera.imageWidth,
 *                   (int)mainCamera.imageHeight, mainCamera.fx);
 *        }
 *
 * 2. A distortion or undistortion map of the main camera, written into arrays that the caller owns:
 *
 *        int32_t ratio = 2;
 *        CamDistortionLUT map = {0};
 *        map.rows = mainCamera.imageHeight / ratio;
 *        map.cols = mainCamera.imageWidth / ratio;
 *        map.x = malloc(sizeof(float) * (size_t)map.rows * (size_t)map.cols);
 *        map.y = malloc(sizeof(float) * (size_t)map.rows * (size_t)map.cols);
 *        int32_t status = DistortionProcess(CALIBMAP_UNDISTORTION, ratio, NULL, &map);
 *
 * What a map value means. A map has one sample per `ratio` x `ratio` block of pixels, in
 * imageHeight / ratio rows and imageWidth / ratio columns (integer division), row-major: sample
 * (row r, column c) is element r * cols + c. There, x and y are the fractional column and row, in
 * units of the same sample grid, that the sample is taken to. Pixel (c, r) has its centre at the
 * integers; with ratio 1 the values are plain pixel coordinates, and the identity map holds x = c,
 * y = r. Values may lie outside the image. docs/maps.md shows how to feed them to a remapper.
 *
 * The device's file is the one that `calibin` names. It is read again at every call; nothing is
 * cached and it is never written. Failures are return values; a diagnostic ("ERROR: ", a message,
 * a line feed, in one piece) goes to standard output where a function's comment says that it
 * reports. Nothing here stops the process.
 *
 * Any number of threads may call at the same time, each with records, containers and arrays that no
 * other thread changes meanwhile; `calibin` is set before. A stack of 24 KiB is enough for a map.
 *
 * Below the two services stand the pieces they are made of, all exported: the calibration file, the
 * counted containers (matrices and vectors), the B-spline toolkit and the evaluation of a spline
 * model over an image.
 *
 * The header serves C99 and C++11 and everything later.
 */
#ifndef CALIBMAP_H
#define CALIBMAP_H

#include <stdint.h>

#define CALIBMAP_VERSION_MAJOR 1
#define CALIBMAP_VERSION_MINOR 2
#define CALIBMAP_VERSION_PATCH 1

#define CALIBMAP_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The calibration file ------------------------------------------------------------------- */

/**
 * Layout of the calibration file: byte offsets and counts. Values are little-endian and packed, so
 * most of them are unaligned: load them byte by byte or with memcpy. Bytes that are
 * neither named here nor checksums are not interpreted, but the checksums cover them.
 */
enum {
    CALIBMAP_FILE_SIZE = 6268,

    CALIBMAP_PASS_FLAG = 1, /**< uint8: 1 when the calibration passed */

    /* The four checksummed ranges; each is followed directly by its checksum byte. */
    CALIBMAP_MAIN_BLOCK = 13,
    CALIBMAP_MAIN_BLOCK_SIZE = 4112,
    CALIBMAP_SUB_BLOCK = 4126,
    CALIBMAP_SUB_BLOCK_SIZE = 2100,
    CALIBMAP_EXTRINSIC_BLOCK = 6227,
    CALIBMAP_EXTRINSIC_BLOCK_SIZE = 24,
    CALIBMAP_CHECKED_SIZE = 6267, /**< bytes from 0 that the total checksum covers */

    /* From the start of either camera block. */
    CALIBMAP_IMAGE_HEIGHT = 4, /**< int32, pixels */
    CALIBMAP_IMAGE_WIDTH = 8,  /**< int32, pixels */
    CALIBMAP_FX = 12,          /**< float32, pixels; likewise the next three */
    CALIBMAP_FY = 16,
    CALIBMAP_CX = 20,
    CALIBMAP_CY = 24,
    CALIBMAP_COEFF = 28, /**< six 32-bit words, carried and never interpreted */
    CALIBMAP_COEFF_COUNT = 6,

    /* From the start of the main-camera block. */
    CALIBMAP_X_ORDER = 84,  /**< uint8: order of the B-splines along x */
    CALIBMAP_Y_ORDER = 85,  /**< uint8: order of the B-splines along y */
    CALIBMAP_X_PIECES = 86, /**< uint8, non-zero; nothing else depends on it */
    CALIBMAP_Y_PIECES = 87, /**< uint8, non-zero; nothing else depends on it */
    CALIBMAP_DISTORTION_MODEL = 88,
    CALIBMAP_UNDISTORTION_MODEL = 2100,

    /* From the start of either correction model. */
    CALIBMAP_X_BREAKS = 16, /**< float32, normalised image coordinates, non-decreasing */
    CALIBMAP_X_BREAK_COUNT = 7,
    CALIBMAP_Y_BREAKS = 68,
    CALIBMAP_Y_BREAK_COUNT = 5,
    CALIBMAP_X_CORRECTION = 108, /**< float32 grid, row-major: rows along y, columns along x */
    CALIBMAP_Y_CORRECTION = 1060,
    CALIBMAP_CORRECTION_ROWS = 10,
    CALIBMAP_CORRECTION_COLS = 12
};

/** The bytes of a calibration file, unchanged, at any alignment. */
typedef uint8_t CalibrationFile[CALIBMAP_FILE_SIZE];

/** Intrinsic parameters of one camera: twelve 32-bit words, copied bit for bit from the file. */
typedef struct CameraIntrinsics {
    int32_t imageWidth;  /**< pixels */
    int32_t imageHeight; /**< pixels */
    float cx;            /**< principal point, pixels */
    float cy;
    float fx; /**< focal length, pixels */
    float fy;
    uint32_t coeff[CALIBMAP_COEFF_COUNT]; /**< further parameters, never interpreted */
} CameraIntrinsics;

/** The extrinsic block, which relates the two cameras, copied bit for bit and never interpreted. */
typedef struct CameraExtrinsics {
    uint8_t first[16];
    uint32_t second;
    uint32_t third;
} CameraExtrinsics;

/**
 * Path of the calibration file that the two entry points read, NUL-terminated; initially
 * "/persist/camera/stereoParams.bin". Writable: store another path of up to 32 characters to read
 * another file. The library never writes it.
 */
extern CALIBMAP_API char calibin[33];

/**
 * Reads the parameters of both cameras from the file that `calibin` names. Any output may be null
 * when it is not wanted. Returns 0, or -1 with all outputs as they were: file missing, unreadable
 * or short, a checksum wrong, pass flag not 1, or no output wanted. Prints nothing.
 */
CALIBMAP_API int32_t GetCameraIntrinsicAndExtrinsic(CameraIntrinsics* mainCamera,
                                                    CameraIntrinsics* subCamera,
                                                    CameraExtrinsics* extrinsics);

/** The same for the file at `path`; a null path gives -1. */
CALIBMAP_API int32_t getCameraIntrinsicAndExtrinsic(const char* path, CameraIntrinsics* mainCamera,
                                                    CameraIntrinsics* subCamera,
                                                    CameraExtrinsics* extrinsics);

/**
 * Copy one record out of a verified file image of 6268 bytes; neither its checksums nor its pass
 * flag are looked at. IR is another name of the main camera and RGB of the sub camera.
 */
CALIBMAP_API CameraIntrinsics extractMainCameraIntrn(const uint8_t* image);
CALIBMAP_API CameraIntrinsics extractIRCameraIntrn(const uint8_t* image);
CALIBMAP_API CameraIntrinsics extractSubCameraIntrn(const uint8_t* image);
CALIBMAP_API CameraIntrinsics extractRGBCameraIntrn(const uint8_t* image);
CALIBMAP_API CameraExtrinsics extractCameraExteral(const uint8_t* image);

/** Returns 0 when `path` names an existing file system entry, readable or not, and -1 otherwise. */
CALIBMAP_API int32_t isFileExists(const char* path);

/**
 * Reads the first 6268 bytes of the file at `path` into `image`. Returns 0, or -1 when the file
 * cannot be opened (the image is untouched) or is shorter (its content is then unspecified).
 */
CALIBMAP_API int32_t readCalibrationDataC(const char* path, uint8_t* image);

/** Sum of `length` bytes modulo 256, 0 to 255; 0 when `length` is below 1. */
CALIBMAP_API uint8_t calibrationSum(const uint8_t* bytes, int32_t length);

/** Checksum byte of `length` bytes: 255 minus their sum modulo 256; 255 when it is below 1. */
CALIBMAP_API uint8_t calibrationChecksum(const uint8_t* bytes, int32_t length);

/**
 * Byte sum modulo 256, 0 to 255, of one checksummed range, given its first byte; 255 for null. A
 * range is intact when this sum and its checksum byte add up to 255.
 */
CALIBMAP_API int32_t MainCameraIntervalCalibrationSum(const uint8_t* block);
CALIBMAP_API int32_t SubCameraIntervalCalibrationSum(const uint8_t* block);
CALIBMAP_API int32_t CameraExtervalCalibrationSum(const uint8_t* block);
CALIBMAP_API int32_t TotalCalibrationSum(const uint8_t* image);

/**
 * For producers of calibration files: store the checksum of one range, given its first byte, in
 * the byte directly after it. The total comes last, because it covers the other three. Return 0,
 * or -1 for null.
 */
CALIBMAP_API int32_t MainCameraIntervalCalibrationChecksum(uint8_t* block);
CALIBMAP_API int32_t SubCameraIntervalCalibrationChecksum(uint8_t* block);
CALIBMAP_API int32_t CameraExtervalCalibrationChecksum(uint8_t* block);
CALIBMAP_API int32_t TotalCalibrationChecksum(uint8_t* image);

/** Verifies the four checksums of a file image: 0 when all hold, 9 otherwise. */
CALIBMAP_API int32_t checksumTest(const uint8_t* image);

/* ---- Distortion maps ------------------------------------------------------------------------ */

/** What the functions of the map path return. `DistortionProcess` never returns 11 or 12. */
enum {
    CALIBMAP_SUCCESS = 0,
    CALIBMAP_BAD_ARGUMENT = 1,
    CALIBMAP_FILE_MISSING = 4,
    CALIBMAP_STEP_FAILED = 7, /**< a step of the computation or the delivery was refused */
    CALIBMAP_FILE_UNREADABLE = 8,
    CALIBMAP_CHECKSUM_WRONG = 9,
    CALIBMAP_NOT_PASSED = 10,  /**< the pass flag of the file is not 1 */
    CALIBMAP_VECTOR_LEAK = 11, /**< the count of live vectors is not what it has to be */
    CALIBMAP_MATRIX_LEAK = 12, /**< the count of live matrices is not what it has to be */
    CALIBMAP_UNSUPPORTED = 13  /**< no such flag, or a negative ratio */
};

/** The `flag` of a map request. */
enum {
    CALIBMAP_RGB_DISTORTION = 0, /**< no model exists: 7 for every file that is sound */
    CALIBMAP_DISTORTION = 1,     /**< distortion map of the main camera */
    CALIBMAP_UNDISTORTION = 2,   /**< undistortion map of the main camera */
    CALIBMAP_FILE_CHECK = 3      /**< only verify the file */
};

/** The caller's map: two arrays of rows x cols floats, row-major, that the library fills. */
typedef struct CamDistortionLUT {
    float* x; /**< column coordinate of each sample, in samples */
    float* y; /**< row coordinate of each sample, in samples */
    int32_t rows;
    int32_t cols;
} CamDistortionLUT;

/**
 * Computes a map of the main camera from the file that `calibin` names and writes it into the
 * arrays of `outputPoints`, which must have the map's shape (see the first page).
 *
 * `flag` is one of the four above. `ratio` is 1 or a positive even number of pixels (0 passes the
 * test of the arguments and fails in the computation). `inputPoints` is null: maps are built over
 * the whole sample grid, and other points are refused with 7.
 *
 * Returns 0, 1, 4, 7, 8, 9, 10 or 13 (see the codes above). Every failure is reported on standard
 * output and leaves the arrays as they were: whatever can fail has been done before the first
 * element is written. The record itself is never written. Arrays that overlap each other, a whole
 * number of floats apart, hold what they would if they had been written element by element, x
 * before y; floats at any other distance are not aligned, which C does not allow.
 */
CALIBMAP_API int32_t DistortionProcess(int32_t flag, int32_t ratio,
                                       const CamDistortionLUT* inputPoints,
                                       const CamDistortionLUT* outputPoints);

/**
 * The same for the file at `path`, without the tests of `flag`, `ratio` and the counts: a flag
 * other than 0, 1 and 2 only verifies the file. A null path or null `outputPoints` gives 7.
 */
CALIBMAP_API int32_t doDistortionProcess(const char* path, int32_t flag, int32_t ratio,
                                         const CamDistortionLUT* inputPoints,
                                         const CamDistortionLUT* outputPoints);

/* ---- Containers ----------------------------------------------------------------------------- */

/*
 * A container is a record and a buffer, two heap blocks, held through a pointer to the record: the
 * handle. Whoever holds the handle owns both blocks and releases them with the destroy function of
 * the type, which takes the address of the handle, sets the handle to null and does nothing where
 * it is null already. Elements are read and written directly through `data`.
 *
 * Operations borrow their operands, never change them and return a new container, or null: for a
 * null operand, an empty matrix, shapes that do not match, a zero divisor, an exhausted heap, a
 * negative count, or a buffer of 2^31 bytes or more. They print nothing unless their comment says
 * so. A matrix is empty when its buffer is null or its size in bytes is 0, a vector when its size
 * is 0.
 *
 * Results have the same bits on every machine; but which of two NaN operands a NaN result takes its
 * sign and its payload from, or what they are where no operand is a NaN, is not defined.
 */

/** Matrix of doubles, row-major: element (r, c) is data[r * cols + c]. */
typedef struct Mat {
    int32_t rows;
    int32_t cols;
    double* data;
} Mat;

/** Matrix of 32-bit integers, row-major. */
typedef struct MatInt {
    int32_t rows;
    int32_t cols;
    int32_t* data;
} MatInt;

/** Vector of 32-bit integers. */
typedef struct VectorInt {
    int32_t* data;
    int32_t size; /**< elements, not bytes */
} VectorInt;

/** Vector of single-precision numbers. */
typedef struct VectorFloat {
    float* data;
    int32_t size;
} VectorFloat;

/** Vector of double-precision numbers: break points, knot sequences and their differences. */
typedef struct VectorDouble {
    double* data;
    int32_t size;
} VectorDouble;

/**
 * Live `Mat` and `MatInt` objects. Only the library writes it, each time in one indivisible step;
 * where other threads may be at work, read it with `getTotalActiveMat`.
 */
extern CALIBMAP_API int32_t gMatCnt;

/** Live vectors of all three types, likewise; `getTotalActiveVectorCnt` reads it. */
extern CALIBMAP_API int32_t gTotalVecCnt;

/** The value of `gMatCnt`. */
CALIBMAP_API int32_t getTotalActiveMat(void);

/** The value of `gTotalVecCnt`. */
CALIBMAP_API int32_t getTotalActiveVectorCnt(void);

/** Size in bytes, rows * cols * 8 as a 32-bit product; 0 for a null matrix or a null buffer. */
CALIBMAP_API int32_t matSize(const Mat* m);
/** Row count; 0 for a null matrix or a null buffer. */
CALIBMAP_API int32_t getMatRows(const Mat* m);
/** Column count; 0 for a null matrix or a null buffer. */
CALIBMAP_API int32_t getMatCols(const Mat* m);
/** The buffer; null for a null matrix. */
CALIBMAP_API double* getMatData(const Mat* m);

/** New rows x cols matrix of zeros. A count of 0 gives a live, empty matrix. */
CALIBMAP_API Mat* createMat(int32_t rows, int32_t cols);
/** New matrix of the first rows * cols doubles of `array`. Reports a null array and no memory. */
CALIBMAP_API Mat* createMatFromArray(int32_t rows, int32_t cols, const double* array);
/** New copy of a non-empty matrix. */
CALIBMAP_API Mat* cloneMat(const Mat* src);
/** Releases the matrix and clears the handle; nothing for a null handle or a null address. */
CALIBMAP_API void destroyMat(Mat** handle);

/** New matrix a + b, element by element; the shapes must agree. */
CALIBMAP_API Mat* matAdd(const Mat* a, const Mat* b);
/** New matrix a - b, element by element; the shapes must agree. */
CALIBMAP_API Mat* matSub(const Mat* a, const Mat* b);
/** New matrix a + k. */
CALIBMAP_API Mat* matAddk(const Mat* a, double k);
/** New matrix a - k: the scalar is subtracted from each element. */
CALIBMAP_API Mat* matSubk(const Mat* a, double k);
/** New matrix a * k. */
CALIBMAP_API Mat* matMulk(const Mat* a, double k);
/** New matrix a / k, each quotient rounded once; null when k is 0.0 or -0.0. */
CALIBMAP_API Mat* matDivk(const Mat* a, double k);
/**
 * New a.rows x b.cols product; a.cols must equal b.rows. Element (r, c) is
 * 0.0 + a(r,0) b(0,c) + a(r,1) b(1,c) + ... in this order, each product and each sum rounded once.
 */
CALIBMAP_API Mat* matMul(const Mat* a, const Mat* b);
/** New transpose, a.cols x a.rows. */
CALIBMAP_API Mat* matT(const Mat* a);

/**
 * Prints the top-left rows x cols block: two line feeds, each row as "%f " per element and a line
 * feed, one more line feed. Nothing for a null matrix or a block that is not inside it.
 */
CALIBMAP_API void printMat(const Mat* m, int32_t rows, int32_t cols);
/** Prints one row as "%f " per element between two line feeds. Nothing for a null matrix or a row
 * outside. */
CALIBMAP_API void printMatRow(const Mat* m, int32_t row);

/** Size in bytes, rows * cols * 4 as a 32-bit product; 0 for a null matrix or a null buffer. */
CALIBMAP_API int32_t matIntSize(const MatInt* m);
/** New rows x cols matrix of zeros. A count of 0 gives a live, empty matrix. */
CALIBMAP_API MatInt* createMatInt(int32_t rows, int32_t cols);
/** New matrix a + b, element by element, wrapping at 32 bits; the shapes must agree. */
CALIBMAP_API MatInt* matIntAdd(const MatInt* a, const MatInt* b);
/** Releases the matrix and clears the handle; nothing for a null handle or a null address. */
CALIBMAP_API void destroyMatInt(MatInt** handle);
/**
 * Prints the top-left rows x cols block: a line feed, then each row as "%d " per element and a line
 * feed. Nothing for a null matrix or a block that is empty or not inside it.
 */
CALIBMAP_API void printMatInt(const MatInt* m, int32_t rows, int32_t cols);

/** New vector of n elements that hold nothing definite yet. n = 0 gives a live, empty vector. */
CALIBMAP_API VectorInt* createVectorInt(int32_t n);
CALIBMAP_API VectorFloat* createVectorFloat(int32_t n);
CALIBMAP_API VectorDouble* createVectorDouble(int32_t n);
/** New vector of the first n elements of `src`; null when it has fewer. */
CALIBMAP_API VectorDouble* copyFromVector(const VectorDouble* src, int32_t n);
/** New vector of the first n elements of `array`. Reports a null array, n = 0 and no memory. */
CALIBMAP_API VectorDouble* vectorCopyFromDoubleArray(const double* array, int32_t n);
/** The same from floats, each widened exactly. */
CALIBMAP_API VectorDouble* vectorCopyFromFloatArray(const float* array, int32_t n);
/** Size in bytes as a 32-bit product; 0 for null. */
CALIBMAP_API int32_t vectorDoubleSize(const VectorDouble* v);
/** Release the vector and clear the handle; nothing for a null handle or a null address. */
CALIBMAP_API void destroyVectorInt(VectorInt** handle);
CALIBMAP_API void destroyVectorFloat(VectorFloat** handle);
CALIBMAP_API void destroyVectorDouble(VectorDouble** handle);
/**
 * Print all elements as "%d " or "%f ", then a line feed and a blank; the double version starts
 * with a line feed and a blank and ends with two line feeds. Nothing for a null or empty vector.
 */
CALIBMAP_API void printVectorInt(const VectorInt* v);
CALIBMAP_API void printVectorFloat(const VectorFloat* v);
CALIBMAP_API void printVectorDouble(const VectorDouble* v);

/* ---- B-spline toolkit ----------------------------------------------------------------------- */

/*
 * A knot sequence t(1) <= ... <= t(m) and an order k (degree + 1) describe m - k B-splines
 * (C. de Boor, A Practical Guide to Splines). Positions count from 1; -1 means not found.
 */

/** New vector of the size - 1 first differences. Reports null, empty and no memory, with null. */
CALIBMAP_API VectorDouble* diff(const VectorDouble* src);

/**
 * Position of the first element that is not less than or equal to `value` (a NaN is not); -1 when
 * there is none. Reports a null or empty vector, with -1.
 */
CALIBMAP_API int32_t findBiggerBaseIdx(const VectorDouble* src, double value);

/** Number of elements less than `value`. Reports a null or empty vector, with 0. */
CALIBMAP_API int32_t findSmallerBaseIdx(const VectorDouble* src, double value);

/**
 * New knot sequence of order k over N break points: the first and the last one k times, those
 * between them once, N + 2k - 2 knots in all. The break points are taken as they are. Null for no
 * break points, a count below 0 or no memory, silently, and for a negative k after a report.
 */
CALIBMAP_API VectorDouble* augknt_init(const VectorDouble* breaks, int32_t k);

/**
 * How many knots the first knot lacks to be k-fold: k minus its multiplicity, stored in `augLeft`.
 * Returns 0, or 7 after a report, with `augLeft` as it was: k < 0, no knots, no step upwards (all
 * knots equal), or no memory.
 */
CALIBMAP_API int32_t augknt(const VectorDouble* knots, double* augLeft, double k);

/**
 * Number of entries of a nondecreasing mesh that are not greater than `site`: the position of the
 * last knot at or before the site. A negative size gives -1, or 0 where the first element is
 * greater. The mesh must not be null.
 */
CALIBMAP_API double sorted(const VectorDouble* mesh, double site);

/**
 * New matrix of rowReps x colReps copies of `src`. Reports counts below 1 and an empty `src`, and,
 * as no memory, also a number of rows or columns that does not fit 32 bits: it never wraps around.
 */
CALIBMAP_API MatInt* repmatInt(const MatInt* src, int32_t rowReps, int32_t colReps);

/** Placeholders that do nothing; the two that return something return 0. */
CALIBMAP_API void meshgrid(void);
CALIBMAP_API int32_t bsxfun_rdivied(void);
CALIBMAP_API int32_t bsxfun_minus(void);

/**
 * Values at site x of all B-splines of order k over `knots`: a new 1 x (m - k) row.
 *
 * The k values that can be non-zero come from de Boor's recurrence (A Practical Guide to Splines,
 * chapter X, BSPLVB); they are non-negative and sum to one for x in [t(k), t(m - k + 1)]. A site
 * outside the knots gives zeros; the last knot belongs to the last interval. The first knot is
 * taken to be k-fold: with another multiplicity j the row is shifted by j - k columns.
 *
 * Null after a report: no knots, decreasing knots, fewer than 2k, all equal, the first knot more
 * than 3k - 2 times, k below 1 or not a number, or no memory (of which one case, no memory for the
 * k values themselves, has no report). A fractional k is truncated wherever it sizes or indexes
 * something.
 */
CALIBMAP_API Mat* spcol(const VectorDouble* knots, double k, double x);

/**
 * Collocation matrix: row i holds the values of all B-splines of order k over `knots` at site i of
 * the column `samplePoints`; a new n x (m - k) matrix. Null after a report: k < 1, no knots or
 * fewer than 2k, no sites or not one column, knots that `spcol` refuses (reported for row 0), no
 * memory, or a live count that moved meanwhile, by anything but another thread's containers.
 */
CALIBMAP_API Mat* collocationMatrix(const VectorDouble* knots, int32_t k, const Mat* samplePoints);

/* ---- Evaluation of a spline model over an image --------------------------------------------- */

/** A tensor-product B-spline correction model in normalised image coordinates. */
typedef struct BsplineModel {
    uint8_t kx; /**< order along x */
    uint8_t ky; /**< order along y */
    uint8_t xpieces;
    uint8_t ypieces;
    VectorDouble* xknotsVec; /**< knots along x: Nx = size - kx B-splines */
    VectorDouble* yknotsVec; /**< knots along y: Ny = size - ky B-splines */
    Mat* xcorrectMatrix;     /**< Ny x Nx coefficients of the x map */
    Mat* ycorrectMatrix;     /**< Ny x Nx coefficients of the y map */
} BsplineModel;

/**
 * Evaluates a model over the sample grid of an image: nx = imgW / ratio by ny = imgH / ratio
 * samples, each the centre of a ratio x ratio block of pixels.
 *
 * With s the pixel position of a sample, u = (s_x - cx) / fx and v = (s_y - cy) / fy, the model
 * gives the normalised position X = sum over a, b of By(a, v) C(a, b) Bx(b, u) and Y likewise; the
 * maps hold (X fx + cx + (0.5 - 0.5 ratio)) / ratio and (Y fy + cy + (0.5 - 0.5 ratio)) / ratio,
 * positions in the index space of the sample grid. The products run as (By C) Bx^T, in the order
 * of summation of `matMul`.
 *
 * `cameraMatrix` is [fx 0 cx; 0 fy cy; 0 0 1]. `undistX` and `undistY` receive two new ny x nx
 * matrices that the caller owns. `inputPoints` must be null: other points are refused.
 *
 * Returns 0, or after a report 7 (bad input or a failed step), 11 or 12 (a live count has moved, by
 * anything but another thread's containers). A failure releases all that the call created; a handle
 * that it had reached is null.
 */
CALIBMAP_API int32_t undisortionBspline(const Mat* cameraMatrix, const BsplineModel* model,
                                        const CamDistortionLUT* inputPoints, int32_t imgW,
                                        int32_t imgH, int32_t ratio, Mat** undistX, Mat** undistY);

/**
 * Build the distortion or the undistortion maps of the main camera from its block of a verified
 * file image (byte 13 on). `mapX` and `mapY` hold null and receive two new matrices of imgH / ratio
 * rows and imgW / ratio columns that the caller owns. Return 0, or after a report 7, 11 or 12 with
 * nothing left allocated.
 */
CALIBMAP_API int32_t calcMainCameraDistortionB(const uint8_t* mainCameraBlock,
                                               const CamDistortionLUT* inputPoints, int32_t ratio,
                                               int32_t imgW, int32_t imgH, Mat** mapX, Mat** mapY);
CALIBMAP_API int32_t calcMainCameraUnDistortionB(const uint8_t* mainCameraBlock,
                                                 const CamDistortionLUT* inputPoints, int32_t ratio,
                                                 int32_t imgW, int32_t imgH, Mat** mapX,
                                                 Mat** mapY);

/** Placeholder for the sub camera, which has no model: does nothing and returns 0. */
CALIBMAP_API int32_t calcSubCameraDistortionB(void);

/**
 * Delivers two maps of equal shape into the arrays of `lut`, each element rounded to the nearest
 * float. Returns 0, or 7 with the arrays as they were: a null argument or maps of different shapes
 * (silently), or a `lut` of another shape than the maps (reported).
 */
CALIBMAP_API int32_t extractDistData2CamDistortionLUT(const Mat* mapX, const Mat* mapY,
                                                      const CamDistortionLUT* lut);

#ifdef __cplusplus
}
#endif

#endif /* CALIBMAP_H */
