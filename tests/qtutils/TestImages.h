// Test images: a minimal PNG encoder and BMP decoder, independent of the Qt code under test.
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace testimages {

struct Rgb {
    std::uint8_t r, g, b;
    bool operator==(const Rgb& o) const { return r == o.r && g == o.g && b == o.b; }
};

struct Image {
    int width = 0;
    int height = 0;
    std::vector<Rgb> pixels;  // row by row from the top
    bool operator==(const Image& o) const {
        return width == o.width && height == o.height && pixels == o.pixels;
    }
};

// A width x height picture whose every pixel differs from its neighbours, so a flipped row,
// a swapped channel or a lost column shows.
inline Image makeGradient(int width, int height) {
    Image image;
    image.width = width;
    image.height = height;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.pixels.push_back({static_cast<std::uint8_t>(x * 37 + 11), static_cast<std::uint8_t>(y * 53 + 7),
                                    static_cast<std::uint8_t>((x * 13 + y * 29) ^ 0x5a)});
    return image;
}

namespace detail {

inline std::uint32_t crc32(const std::string& bytes) {
    std::uint32_t c = 0xffffffffu;
    for (unsigned char byte : bytes) {
        c ^= byte;
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xedb88320u ^ (c >> 1) : c >> 1;
    }
    return c ^ 0xffffffffu;
}

inline void putBE32(std::string& out, std::uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>((v >> shift) & 0xff));
}

inline void putChunk(std::string& out, const char* type, const std::string& data) {
    putBE32(out, static_cast<std::uint32_t>(data.size()));
    const std::string typed = std::string(type, 4) + data;
    out += typed;
    putBE32(out, crc32(typed));
}

inline std::uint32_t le(const std::string& b, std::size_t at, int bytes) {
    std::uint32_t v = 0;
    for (int i = bytes - 1; i >= 0; --i) v = (v << 8) | static_cast<unsigned char>(b[at + i]);
    return v;
}

}  // namespace detail

// An 8-bit RGB PNG; the pixel data goes in stored (uncompressed) deflate blocks.
inline std::string encodePng(const Image& image) {
    std::string raw;
    for (int y = 0; y < image.height; ++y) {
        raw.push_back('\0');  // filter: none
        for (int x = 0; x < image.width; ++x) {
            const Rgb& p = image.pixels[static_cast<std::size_t>(y * image.width + x)];
            raw.push_back(static_cast<char>(p.r));
            raw.push_back(static_cast<char>(p.g));
            raw.push_back(static_cast<char>(p.b));
        }
    }
    std::string zlib("\x78\x01", 2);
    std::size_t at = 0;
    do {
        const std::size_t n = std::min<std::size_t>(raw.size() - at, 65535);
        zlib.push_back(at + n == raw.size() ? '\x01' : '\x00');
        zlib.push_back(static_cast<char>(n & 0xff));
        zlib.push_back(static_cast<char>(n >> 8));
        zlib.push_back(static_cast<char>(~n & 0xff));
        zlib.push_back(static_cast<char>((~n >> 8) & 0xff));
        zlib.append(raw, at, n);
        at += n;
    } while (at < raw.size());
    std::uint32_t a = 1, b = 0;
    for (unsigned char c : raw) {
        a = (a + c) % 65521;
        b = (b + a) % 65521;
    }
    detail::putBE32(zlib, (b << 16) | a);

    std::string png("\x89PNG\r\n\x1a\n", 8);
    std::string ihdr;
    detail::putBE32(ihdr, static_cast<std::uint32_t>(image.width));
    detail::putBE32(ihdr, static_cast<std::uint32_t>(image.height));
    ihdr += std::string("\x08\x02\x00\x00\x00", 5);  // 8 bits, RGB, deflate, no filter set, no interlace
    detail::putChunk(png, "IHDR", ihdr);
    detail::putChunk(png, "IDAT", zlib);
    detail::putChunk(png, "IEND", "");
    return png;
}

// Decodes an uncompressed 24- or 32-bit BMP (rows bottom-up or top-down). False for anything else.
inline bool decodeBmp(const std::string& b, Image& image) {
    if (b.size() < 54 || b[0] != 'B' || b[1] != 'M') return false;
    const std::uint32_t dataAt = detail::le(b, 10, 4);
    const std::int32_t width = static_cast<std::int32_t>(detail::le(b, 18, 4));
    std::int32_t height = static_cast<std::int32_t>(detail::le(b, 22, 4));
    const std::uint32_t bpp = detail::le(b, 28, 2);
    const std::uint32_t compression = detail::le(b, 30, 4);
    const bool topDown = height < 0;
    if (topDown) height = -height;
    if (width <= 0 || height <= 0 || width > 65536 || height > 65536) return false;
    if (!(bpp == 24 && compression == 0) && !(bpp == 32 && (compression == 0 || compression == 3))) return false;
    const std::size_t bytesPerPixel = bpp / 8;
    const std::size_t stride = (static_cast<std::size_t>(width) * bytesPerPixel + 3) / 4 * 4;
    if (dataAt > b.size() || b.size() - dataAt < stride * static_cast<std::size_t>(height)) return false;
    image.width = width;
    image.height = height;
    image.pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), Rgb{0, 0, 0});
    for (int row = 0; row < height; ++row) {
        const int y = topDown ? row : height - 1 - row;
        const std::size_t rowAt = dataAt + stride * static_cast<std::size_t>(row);
        for (int x = 0; x < width; ++x) {
            const std::size_t p = rowAt + static_cast<std::size_t>(x) * bytesPerPixel;
            // Stored blue, green, red (then alpha or padding), in both layouts Qt writes.
            image.pixels[static_cast<std::size_t>(y * width + x)] = {static_cast<std::uint8_t>(b[p + 2]),
                                                                     static_cast<std::uint8_t>(b[p + 1]),
                                                                     static_cast<std::uint8_t>(b[p])};
        }
    }
    return true;
}

inline bool writeBytes(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

inline std::string readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bool readBmp(const std::string& path, Image& image) { return decodeBmp(readBytes(path), image); }

}  // namespace testimages
