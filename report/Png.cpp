#include "report/Png.h"

#include <png.h>

#include <cassert>
#include <new>

namespace tessivar
{

std::vector<std::byte> encodePng (std::size_t width,
                                  std::size_t height,
                                  std::span<const std::uint8_t> pixels,
                                  std::span<const PngColour> colours)
{
    assert (pixels.size() == width * height && ! colours.empty() && colours.size() <= 256);

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32> (width);
    image.height = static_cast<png_uint_32> (height);
    image.format = PNG_FORMAT_RGB_COLORMAP;
    image.colormap_entries = static_cast<png_uint_32> (colours.size());

    std::vector<std::byte> bytes (PNG_IMAGE_PNG_SIZE_MAX (image));
    png_alloc_size_t size = bytes.size();

    // Everything else about the picture was checked above.
    if (png_image_write_to_memory (
            &image, bytes.data(), &size, 0, pixels.data(), static_cast<png_int_32> (width), colours.data())
        == 0)
        throw std::bad_alloc();

    bytes.resize (size);
    return bytes;
}

} // namespace tessivar
