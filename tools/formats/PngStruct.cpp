#include "tools/formats/PngStruct.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <new>

namespace oravo::tools {
namespace {

constexpr png_alloc_size_t kMostText = 16u << 20;  // bytes, of a chunk

[[noreturn]] void stop(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

/// libpng goes on without a chunk that it has no memory for, and calls the lack of other memory damage.
png_voidp grant(png_structp png, png_alloc_size_t bytes) {
    void* const block = std::malloc(bytes);
    if (block == nullptr) static_cast<PngStruct::Reports*>(png_get_mem_ptr(png))->outOfMemory = true;
    return block;
}

void release(png_structp, png_voidp block) {
    std::free(block);
}

/// Does for libpng what may take memory. Lack of it ends the library's call, whose frames no exception may pass.
template <class Work>
void allocate(png_structp png, const Work& work) {
    bool done = false;
    try {
        work();
        done = true;
    } catch (const std::exception&) {
    }
    if (done) return;
    static_cast<PngStruct::Reports*>(png_get_error_ptr(png))->outOfMemory = true;
    png_longjmp(png, 1);
}

void keep(png_structp png, png_const_charp warning) {
    allocate(png, [&] {
        static_cast<PngStruct::Reports*>(png_get_error_ptr(png))->warnings.emplace_back(warning);
    });
}

void take(png_structp png, png_bytep bytes, std::size_t count) {
    std::string_view& rest = *static_cast<std::string_view*>(png_get_io_ptr(png));
    if (count > rest.size()) png_error(png, "the file ends early");
    std::copy_n(rest.begin(), count, bytes);
    rest.remove_prefix(count);
}

void append(png_structp png, png_bytep bytes, std::size_t count) {
    allocate(png, [&] {
        static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<const char*>(bytes), count);
    });
}

}  // namespace

PngStruct::PngStruct(std::string_view file, Pixels pixels)
    : writes_(false),
      rest_(file),
      png_(
          png_create_read_struct_2(PNG_LIBPNG_VER_STRING, &reports_, stop, keep, &reports_, grant, release)) {
    requireStructs();
    png_set_read_fn(png_, &rest_, take);
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);  // callers have limits of their own
    png_set_chunk_malloc_max(png_, kMostText);
    const bool settled = pixels == Pixels::read || run([](png_structp png, png_infop) {
                             const auto* const name = reinterpret_cast<const png_byte*>("IDAT");
                             png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, name, 1);
                         });
    if (settled) return;
    destroy();
    throw std::bad_alloc();
}

PngStruct::PngStruct(std::string* file)
    : writes_(true),
      png_(png_create_write_struct_2(PNG_LIBPNG_VER_STRING, &reports_, stop, keep, &reports_, grant,
                                     release)) {
    requireStructs();
    png_set_write_fn(png_, file, append, nullptr);
}

void PngStruct::requireStructs() {
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
    if (info_ != nullptr) return;
    destroy();
    throw std::bad_alloc();
}

void PngStruct::requireMemory() const {
    if (reports_.outOfMemory) throw std::bad_alloc();
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
