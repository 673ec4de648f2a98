#ifndef ORAVO_TOOLS_OUTPUT_RECEIPT_H
#define ORAVO_TOOLS_OUTPUT_RECEIPT_H

#include <optional>
#include <string>
#include <vector>

#include "tools/base/FileState.h"
#include "tools/base/UserError.h"
#include "tools/output/PendingFile.h"

namespace oravo::tools {

/// What is to be made of what.
struct Order {
    std::vector<std::string> options;    ///< those that the results depend on, in a fixed order
    std::vector<std::string> recording;  ///< files and folders, as named
    std::vector<std::string> inputs;     ///< all files that are read, frames first and in order
    std::vector<std::string> outputs;    ///< all files that are wanted, the image first
};

/// The proof that an order has been carried out: a JSON file beside the image, named IMAGE.receipt, which takes its name
/// together with the results and after all of them. So a result without one was not finished, whatever ended the run.
///
/// It holds the program's version, the options, the exit code, and of each file read or written its name (inputs
/// absolute, outputs relative to the receipt), size, times and SHA-256. Whether a file still has its content is seen by
/// size and times, and by its SHA-256 where these differ.
class Receipt {
  public:
    /// Compares the order with the receipt that is there. Reads inputs where it takes that to know their content.
    /// Throws UserError of the input kind where one cannot be read.
    explicit Receipt(Order order);

    /// With which code the order was carried out, should nothing have changed since: the version of the program,
    /// options, inputs, outputs. None where it has to be carried out.
    std::optional<ExitCode> finished() const { return finished_; }

    /// The SHA-256 of an input, by the name that it has in the order; empty for other files.
    std::string digestOf(const std::string& input) const;

    /// Adds the receipt for files that are written, but have not got their names yet.
    void write(PendingFiles& files, ExitCode code) const;

  private:
    struct Former;
    void readInputs(Former& former);
    bool isCarriedOut(Former& former) const;
    std::string text(const std::vector<FileState>& outputs, ExitCode code) const;  // one line
    void renew(const Former& former) const;

    Order order_;
    std::string file_;
    std::vector<FileState> inputs_;
    std::optional<ExitCode> finished_;
};

}  // namespace oravo::tools

#endif
