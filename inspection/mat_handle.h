#pragma once

#include <calibmap.h>

/** A matrix of the library, released with its holder. */
class MatHandle {
  public:
    explicit MatHandle(Mat* mat = nullptr) : mat_(mat) {}
    MatHandle(const MatHandle&) = delete;
    MatHandle& operator=(const MatHandle&) = delete;
    ~MatHandle() { destroyMat(&mat_); }

    [[nodiscard]] Mat* get() const { return mat_; }
    Mat* operator->() const { return mat_; }
    Mat** address() { return &mat_; }

  private:
    Mat* mat_;
};
