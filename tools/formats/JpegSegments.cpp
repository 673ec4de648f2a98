#include "tools/formats/JpegSegments.h"

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

// Declared by libjpeg, which wants what it uses of stdio before it.
#include <jerror.h>
#include <jpeglib.h>

#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::string_view kMagic = "\xff\xd8\xff";
constexpr int kKinds = 16;  // of application segments

/// Reads what is before the pixels. All that happens while the library is on the stack has no destructor to run, since it ends
/// by a jump where a file is damaged or cut off.
class HeaderReader {
  public:
    HeaderReader() {
        info_.err = ::jpeg_std_error(&errors_);
        errors_.error_exit = stop;
        errors_.emit_message = stopAtEnd;
        info_.client_data = &damaged_;
    }
    HeaderReader(const HeaderReader&) = delete;
    HeaderReader& operator=(const HeaderReader&) = delete;
    ~HeaderReader() { ::jpeg_destroy_decompress(&info_); }

    /// The segments up to where the file is damaged, if it is; they live as long as this object.
    jpeg_saved_marker_ptr read(std::FILE* file, unsigned mostOfEach) {
        if (setjmp(damaged_) == 0) {
            jpeg_create_decompress(&info_);
            ::jpeg_stdio_src(&info_, file);
            for (int kind = 0; kind < kKinds; ++kind)
                ::jpeg_save_markers(&info_, JPEG_APP0 + kind, mostOfEach);
            ::jpeg_read_header(&info_, TRUE);
        }
        return info_.marker_list;
    }

  private:
    [[noreturn]] static void stop(j_common_ptr info) {
        std::longjmp(*static_cast<std::jmp_buf*>(info->client_data), 1);
    }
    /// Past the end of a file the library would go on with bytes of its own.
    static void stopAtEnd(j_common_ptr info, int) {
        if (info->err->msg_code == JWRN_JPEG_EOF) stop(info);
    }

    jpeg_decompress_struct info_{};
    jpeg_error_mgr errors_{};
    std::jmp_buf damaged_{};
};

}  // namespace

bool isJpeg(std::string_view start) {
    return start.substr(0, kMagic.size()) == kMagic;
}

std::vector<JpegSegment> applicationSegments(const std::string& path, std::size_t mostOfEach) {
    errno = 0;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (!file) throw inputError(path + ": cannot be opened: " + std::strerror(errno));
    HeaderReader reader;
    std::vector<JpegSegment> segments;
    for (const jpeg_marker_struct* each = reader.read(file.get(), static_cast<unsigned>(mostOfEach));
         each != nullptr; each = each->next) {
        segments.push_back({std::string(each->data, each->data + each->data_length), each->original_length});
    }
    return segments;
}

}  // namespace oravo::tools
