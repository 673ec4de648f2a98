#include "tools/formats/PngStruct.h"

#include <algorithm>
#include <new>

namespace oravo::tools {
namespace {

constexpr png_alloc_size_t kMostText = 16u << 20;  // bytes, of a chunk

[[noreturn]] void stop(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

void keep(png_structp png, png_const_charp warning) {
    static_cast<std::vector<std::string>*>(png_get_error_ptr(png))->emplace_back(warning);
}

void take(png_structp png, png_bytep bytes, std::size_t count) {
    std::string_view& rest = *static_cast<std::string_view*>(png_get_io_ptr(png));
    if (count > rest.size()) png_error(png, "the file ends early");
    std::copy_n(rest.begin(), count, bytes);
    rest.remove_prefix(count);
}

void append(png_structp png, png_bytep bytes, std::size_t count) {
    static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<const char*>(bytes), count);
}

}  // namespace

PngStruct::PngStruct(std::string_view file, Pixels pixels)
    : writes_(false),
      rest_(file),
      png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, &warnings_, stop, keep)) {
    requireStructs();
    png_set_read_fn(png_, &rest_, take);
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);  // callers have limits of their own
    png_set_chunk_malloc_max(png_, kMostText);
    const png_byte* const name = reinterpret_cast<const png_byte*>("IDAT");
    if (pixels == Pixels::skip) png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, name, 1);
}

PngStruct::PngStruct(std::string* file)
    : writes_(true), png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, &warnings_, stop, keep)) {
    requireStructs();
    png_set_write_fn(png_, file, append, nullptr);
}

void PngStruct::requireStructs() {
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
    if (info_ != nullptr) return;
    destroy();
    throw std::bad_alloc();
}

void PngStruct::destroy() {
    if (writes_) {
        png_destroy_write_struct(&png_, &info_);
    } else {
        png_destroy_read_struct(&png_, &info_, nullptr);
    }
}

PngStruct::~PngStruct() {
    destroy();
}

}  // namespace oravo::tools
