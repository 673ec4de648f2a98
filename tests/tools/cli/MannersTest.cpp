#include <regex>

#include "tests/tools/Program.h"
#include "tools/base/Messages.h"
#include "tools/base/Progress.h"
#include "tools/formats/ShiftTable.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

TEST(Messages, NumbersAndTimesAreShort) {
    EXPECT_EQ(ranges({}), "");
    EXPECT_EQ(ranges({4}), "4");
    EXPECT_EQ(ranges({0, 1, 2, 5, 7, 8}), "0 to 2, 5, 7 to 8");
    EXPECT_EQ(roughTime(0.0), "1 s");
    EXPECT_EQ(roughTime(59.0), "59 s");
    EXPECT_EQ(roughTime(60.0), "1 min");
    EXPECT_EQ(roughTime(7500.0), "2 h 5 min");
}

/// Names of files go to terminals, where control characters are commands.
TEST_F(Program, NoMessageCarriesControlCharacters) {
    EXPECT_EQ(printable("a\x1b[31m\n\t\x7f"), "a?[31m???");
    EXPECT_EQ(printable("\u009b31m\u00e9\u0416"), "??31m\u00e9\u0416");
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    std::filesystem::rename(path("b/frame_000.tif"), path("b/\x1b[31m\n.tif"));
    const Outcome warned = run("enhance --pipeline float b/*31m* b/*31m* b/frame* -o o.tif");
    EXPECT_EQ(warned.code, 0) << warned.err;
    EXPECT_TRUE(says(warned.err, "warning: frame 1 (b/?[31m?.tif) repeats the frame before it"))
        << warned.err;
    const Outcome noted = run("enhance --pipeline float b/*31m* b/frame* -o $(printf 'x\\033y.tif')");
    EXPECT_TRUE(says(noted.err, "\nx?y.tif: 1 image of")) << noted.err;
    std::filesystem::create_directory(path("r\033"));
    const Outcome batch = run("enhance --pipeline float r* -o out/ --jobs 1");
    EXPECT_TRUE(says(batch.err, "r?: oravo-superres: r?: folder holds no")) << batch.err;
    for (const Outcome& outcome : {warned, noted, batch}) EXPECT_FALSE(says(outcome.err, "\033"));
}

TEST_F(Program, SendsTheImageToStandardOutputOnlyWhenAsked) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    const Outcome file = run("enhance --pipeline float b -o o.tif");
    EXPECT_EQ(file.out, "");
    const Outcome piped = run("enhance --pipeline float b -o -");
    EXPECT_EQ(piped.code, 0) << piped.err;
    EXPECT_TRUE(says(piped.err, "standard output: 1 image of 128 x 96 pixels")) << piped.err;
    EXPECT_EQ(piped.out, text(path("o.tif")));
    EXPECT_EQ(entries(), 2u);
    ::setenv("TMPDIR", folder_.c_str(), 1);
    run("enhance --pipeline float b -o - | true");  // whose reader is gone by then
    EXPECT_EQ(entries(), 2u);
    ::setenv("TMPDIR", "nowhere", 1);
    const Outcome homeless = run("enhance --pipeline float b -o -");
    ::unsetenv("TMPDIR");
    EXPECT_EQ(homeless.code, 3);
    EXPECT_TRUE(says(homeless.err, "superres: standard output: TMPDIR names no folder")) << homeless.err;
    EXPECT_EQ(run("enhance b -o - --timing").code, 1);
    EXPECT_EQ(run("enhance --pipeline float b -o - >/dev/full").code, 3);
}

TEST_F(Program, SpoilsNoInputAndNoOtherOutput) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48 --frames 6").code, 0);
    const std::string first = text(path("b/frame_000.tif"));
    const char* const commands[][2] = {
        {"enhance b/*.tif --every -o b/", "b/: is a folder of input frames"},
        {"enhance b -o q.tif --coverage ./q.tif", "./q.tif: is named for two outputs"},
        {"enhance b -o cold.tif --calibration cold.tif 1 warm.tif 2", "cold.tif: is one of the inputs"},
        {"simulate -o b", "b: already holds frame_00"},
        {"simulate -o lone --scene lone/truth.tif --width 8 --height 8", "lone/truth.tif: is there already"},
        {"enhance b --every -o old", "old: already holds frame_9.png; frames of two runs would mix there"},
        {"defects repair m.csv m.png m.png -o old/", "old/: already holds frame_9.png"},
        {"defects repair m.csv m.png -o ./m.png", "./m.png: is one of the inputs"},
        {"defects merge m.csv l.csv -o m.csv", "m.csv: is the list of new ones"},
        {"defects detect m.png -o m.csv --marked m.png", "m.png: is one of the inputs"}};
    std::filesystem::create_directory(path("lone"));
    std::filesystem::create_directory(path("old"));
    std::filesystem::copy(path("b/truth.tif"), path("lone/truth.tif"));
    writeImage(path("old/frame_9.png"), cv::Mat(8, 8, CV_16U, cv::Scalar(7)));
    writeImage(path("m.png"), cv::Mat(8, 8, CV_16U, cv::Scalar(1000)));
    writeImage(path("cold.tif"), cv::Mat(48, 64, CV_16U, cv::Scalar(1000)));
    writeImage(path("warm.tif"), cv::Mat(48, 64, CV_16U, cv::Scalar(2000)));
    for (const char* list : {"m.csv", "l.csv"})
        ASSERT_EQ(run(std::string("defects detect m.png -o ") + list).code, 0);
    for (const auto& [command, fault] : commands) {
        const Outcome outcome = run(command);
        EXPECT_EQ(outcome.code, 3) << command;
        EXPECT_TRUE(says(outcome.err, fault)) << command << ": " << outcome.err;
    }
    EXPECT_EQ(text(path("b/frame_000.tif")), first);
}

/// On a terminal, and only there, warnings are coloured and long work shows how far it has come.
TEST_F(Program, ColoursAreForTerminalsThatWantThem) {
    ASSERT_EQ(run("simulate -o b --noise 3 --width 64 --height 48").code, 0);
    const std::string inTerminal =
        std::string("'") + ORAVO_SUPERRES + " enhance b -o o.tif --pipeline float' typescript </dev/null";
    const auto typescript = [&](const std::string& environment) {
        run("--version; env " + environment + " script -qec " + inTerminal);
        return text(path("typescript"));
    };
    const std::string coloured = "\033[33mwarning: \033[0mnoise is ";
    EXPECT_TRUE(says(typescript("TERM=xterm NO_COLOR="), coloured));
    for (const char* environment : {"TERM=xterm NO_COLOR=1", "TERM=dumb"}) {
        EXPECT_TRUE(says(typescript(environment), "oravo-superres: warning: noise is ")) << environment;
    }
    EXPECT_FALSE(says(run("enhance b -o o.tif --pipeline float").err, "\033"));
}

TEST_F(Program, BatchGivesEveryRecordingItsImage) {
    for (const char* seed : {"1", "2", "3"}) {
        ASSERT_EQ(run(std::string("simulate --width 64 --height 48 -o rec") + seed + " --seed " + seed).code,
                  0);
        ASSERT_EQ(run(std::string("enhance --pipeline float rec") + seed + " -o alone" + seed + ".tif").code,
                  0);
    }
    std::filesystem::create_directory(path("empty"));
    const Outcome all =
        run("enhance rec1 ./rec2/ rec3 -o out/ --jobs 2 --threads 0 --pipeline float --shifts 'out/{}.csv' "
            "--report "
            "'out/{}-{}.html'");
    EXPECT_EQ(all.code, 0) << all.err;
    EXPECT_TRUE(says(all.err, "\nrec2: out/rec2.tif: 1 image of") || all.err.rfind("rec2: ", 0) == 0)
        << all.err;
    for (const char* n : {"1", "2", "3"}) {
        EXPECT_EQ(text(path(std::string("out/rec") + n + ".tif")),
                  text(path(std::string("alone") + n + ".tif")));
        EXPECT_TRUE(says(text(path(std::string("out/rec") + n + ".csv")), "reference is frame 1")) << n;
        EXPECT_TRUE(says(text(path(std::string("out/rec") + n + "-rec" + n + ".html")),
                         std::string("rec") + n + ".tif"));
    }
    const Outcome some = run("enhance rec1 empty rec3 -o other/ --jobs 4 --pipeline float");
    EXPECT_EQ(some.code, 2) << some.err;
    EXPECT_TRUE(says(some.err, "empty: oravo-superres: empty: folder holds no")) << some.err;
    EXPECT_TRUE(says(some.err, "oravo-superres: 1 of 3 recordings failed\n")) << some.err;
    EXPECT_TRUE(std::filesystem::exists(path("other/rec3.tif")));
    EXPECT_FALSE(std::filesystem::exists(path("other/empty.tif")));
    const struct {
        const char* arguments;
        int code;
    } kRefused[] = {{"enhance rec1 rec2/../rec1 -o new/ --jobs 2", 1},
                    {"enhance rec1 -o new.tif --jobs 2", 3},
                    {"enhance rec1 -o new/ --jobs 2 --shifts s.csv", 1},
                    {"enhance rec1 rec12 -o new/ --jobs 2 --coverage 'new/{}2.tif'", 3},
                    {"enhance rec1 alone1.tif -o new/ --jobs 2 --coverage 'alone1{}/../alone1.tif'", 3},
                    {"enhance rec1 rec2 -o new/ --jobs 2 --preview 'rec2/{}.png'", 3},
                    {"enhance rec1 -o new/ --jobs 0", 1},
                    {"enhance empty -o new/ --jobs 1", 2}};
    for (const auto& c : kRefused) {
        EXPECT_EQ(run(c.arguments).code, c.code) << c.arguments;
        EXPECT_FALSE(std::filesystem::exists(path("new"))) << c.arguments;
    }
}

TEST_F(Program, ManualAndCompletionKnowEveryOption) {
    const std::string manual = text(std::string(ORAVO_SOURCE) + "/docs/oravo-superres.md");
    ASSERT_NE(manual, "");
    std::string all;
    for (const char* command : {"enhance", "simulate", "evaluate", "defects detect", "defects repair",
                                "defects merge", "measure blur", "pattern learn"}) {
        const std::string help = run(std::string(command) + " --help").out;
        const std::regex option("\\n +(?:-[a-z],)?--([a-z-]+)");
        for (std::sregex_iterator i(help.begin(), help.end(), option), end; i != end; ++i) {
            EXPECT_TRUE(std::regex_search(manual, std::regex("`--" + i->str(1) + "[` ]")))
                << command << ' ' << i->str(1);
            all += i->str(1) + '\n';
        }
    }
    ASSERT_TRUE(says(all, "tv-weight"));
    const auto completed = [&](const std::string& words) {
        std::ofstream(path("try.bash"))
            << "source " ORAVO_SOURCE "/tools/completion/oravo-superres.bash\nset -- " + words +
                   "\nCOMP_WORDS=(x \"$@\") COMP_CWORD=$#\n_oravo_superres " ORAVO_SUPERRES
                   " \"${COMP_WORDS[$#]}\" \"${COMP_WORDS[$#-1]}\"\necho ${COMPREPLY[*]}\n";
        run("--version; bash try.bash >completed");
        return text(path("completed"));
    };
    EXPECT_EQ(completed("''"), "enhance simulate evaluate defects measure pattern\n");
    EXPECT_EQ(completed("enhance b --every --tv"), "--tv-weight\n");
    EXPECT_EQ(completed("enhance b --registration ''"), "corners phase\n");
    EXPECT_EQ(completed("enhance b --encoding deci"),
              "decidegrees decidegrees-100 decikelvin decikelvin-4\n");
    EXPECT_EQ(completed("defects ''"), "detect repair merge\n");
    EXPECT_EQ(completed("defects detect x --ma"), "--marked --max-count\n");
}

TEST_F(Program, ReplacesOnlyTablesOfItsOwn) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    const std::string truth = text(path("b/shifts.csv"));
    const Outcome refused = run("enhance b -o o.tif --shifts b/shifts.csv");
    EXPECT_EQ(refused.code, 3);
    EXPECT_TRUE(says(refused.err, "b/shifts.csv: exists, and holds no estimated shifts"));
    EXPECT_EQ(text(path("b/shifts.csv")), truth);
    EXPECT_EQ(run("enhance --pipeline float b -o o.tif --shifts s.csv").code, 0);
    EXPECT_EQ(run("enhance --pipeline float b -o o.tif --shifts s.csv").code, 0);
}

}  // namespace
}  // namespace oravo::tools
