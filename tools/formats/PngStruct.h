#ifndef ORAVO_TOOLS_FORMATS_PNGSTRUCT_H
#define ORAVO_TOOLS_FORMATS_PNGSTRUCT_H

#include <png.h>

#include <string>
#include <string_view>
#include <vector>

namespace oravo::tools {

/// What libpng keeps of a file in memory, which has to outlive the object.
class PngStruct {
  public:
    enum class Pixels { read, skip };
    struct Reports {
        std::vector<std::string> warnings;
        bool outOfMemory = false;
    };

    PngStruct(std::string_view file, Pixels pixels);
    /// @param file  gets what is written
    explicit PngStruct(std::string* file);
    ~PngStruct();
    PngStruct(const PngStruct&) = delete;
    PngStruct& operator=(const PngStruct&) = delete;

    /// Calls the library by calls(png, info), where an error ends it by a jump: it must own nothing. Returns whether there was
    /// none. Throws std::bad_alloc where memory has run out meanwhile.
    template <class Calls>
    bool run(const Calls& calls) {
        if (setjmp(png_jmpbuf(png_)) != 0) {
            requireMemory();
            return false;
        }
        calls(png_, info_);
        requireMemory();
        return true;
    }
    png_structp png() const { return png_; }
    png_infop info() const { return info_; }
    /// What the library passes over; each begins with the name of its chunk.
    const std::vector<std::string>& warnings() const { return reports_.warnings; }

  private:
    void requireStructs();
    void requireMemory() const;
    void destroy();

    bool writes_;
    std::string_view rest_;  // of what is read
    Reports reports_;
    png_structp png_;
    png_infop info_ = nullptr;
};

}  // namespace oravo::tools

#endif
