#include "tools/cli/CommandOptions.h"
#include "tools/cli/Validators.h"

namespace oravo::tools {

void addEvaluate(CLI::App& app, EvaluateCommand& c, const std::string& exitCodes) {
    CLI::App* sub =
        app.add_subcommand("evaluate", "Compare an enlarged image with the truth: PSNR, RMSE and SSIM");
    sub->add_option("RESULT", c.result, "The enlarged image")->check(notEmpty())->required();
    sub->add_option("TRUTH", c.truth, "The truth, of the same size")->check(notEmpty())->required();
    sub->add_option("--reference", c.reference,
                    "Reference frame, whose bicubic enlargement is compared with the truth as well")
        ->check(notEmpty());
    sub->add_option("--beside", c.others,
                    "A further enlarged image, judged under the name of its file; may be given several times")
        ->allow_extra_args(false)  // what follows may be the result
        ->check(notEmpty());
    sub->add_option("--crop", c.crop, "Pixels left out along the border")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    sub->add_flag("--regions", c.regions,
                  "The RMSE of flat places and of the hottest and coldest 1 % as well");
    sub->add_flag("--json", c.json, "Prints all figures as JSON, those of --regions too");
    sub->add_option("--picture", c.picture,
                    "FILE.png for a picture of all of them on one colour scale, with a magnified detail")
        ->check(notEmpty());
    sub->footer(
        "PSNR takes the range of the truth as its peak, RMSE is in the images' unit, SSIM has "
        "a Gaussian window of sigma 1.5.\nPixels without a value are left out and counted.\n\n" +
        exitCodes);
    sub->callback([&c] { evaluate(c); });
}

}  // namespace oravo::tools
