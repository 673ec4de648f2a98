#ifndef ORAVO_TOOLS_BASE_CHILDPROCESS_H
#define ORAVO_TOOLS_BASE_CHILDPROCESS_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace oravo::tools {

/// Whether PATH leads to a program of this name.
bool isInstalled(const std::string& program);

/// Another program at work: what it prints is read here, and it ends with this object, and with this process however that ends.
/// What goes wrong with the process itself is a UserError of the internal kind that names the program.
class ChildProcess {
  public:
    enum class Input { none, open };  ///< none: nothing to read

    /// @param command  the program, looked for in PATH, and its arguments, which no shell sees
    explicit ChildProcess(const std::vector<std::string>& command, Input input = Input::none);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// To its standard input. Returns false where it does not read any more.
    bool write(std::string_view text);

    /// From its standard output: what there is, at most so many bytes, after waiting for the first; 0 at the end.
    std::size_t readSome(char* bytes, std::size_t most);
    /// So many bytes, fewer only at the end.
    std::size_t read(char* bytes, std::size_t count);

    /// What it has printed on standard error until now, and not been asked for: the beginning where that is long.
    std::string takeErrors();

    /// Waits for its end, reading no further. Returns its exit code, or 128 and its signal.
    int wait();

  private:
    void start(const std::vector<std::string>& command, bool withInput);
    void drainErrors();
    void closeAll();

    std::string name_;
    pid_t process_ = -1;
    int input_ = -1, output_ = -1, errors_ = -1;
    std::string errorText_;
};

/// The first line of what a program printed as errors that says something, without the addresses that some put before it.
std::string firstComplaint(const std::string& errors);

}  // namespace oravo::tools

#endif
