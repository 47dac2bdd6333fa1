#pragma once

#include <cassert>
#include <cstddef>

namespace tessivar
{

/** A column-major matrix owned by someone else: element (r, c) is data[r + c * rows]. */
template <typename T>
struct MatrixView
{
    T* data = nullptr;
    std::size_t rows = 0;
    std::size_t columns = 0;

    [[nodiscard]] T& operator() (std::size_t r, std::size_t c) const
    {
        assert (r < rows && c < columns);
        return data[r + c * rows];
    }

    [[nodiscard]] T* column (std::size_t c) const { return data + c * rows; }
    [[nodiscard]] std::size_t size() const { return rows * columns; }
};

} // namespace tessivar
