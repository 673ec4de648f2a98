#ifndef ORAVO_VISION_DETAIL_PRECISE_RECONSTRUCTION_H
#define ORAVO_VISION_DETAIL_PRECISE_RECONSTRUCTION_H

#include <functional>
#include <vector>

#include "vision/superresolution/detail/precise/FrameState.h"
#include "vision/superresolution/detail/precise/ImageSolver.h"
#include "vision/superresolution/detail/precise/MotionFit.h"
#include "vision/superresolution/detail/precise/SensorPattern.h"
#include "vision/superresolution/detail/precise/WithheldPixels.h"

namespace oravo::vision::detail::precise {

struct ReconstructionOptions {
    int factor = 2;
    BlurShape blur = 0.683;  ///< of the camera
    double strength = 0.0;   ///< of the prior; 0 chooses it by withheld pixels
    bool findDeadPixels = true;
    bool findPattern = true;
    bool deviation = true;  ///< compute standard deviations
    Threads threads;        ///< that share the work; without a part in the results
    /// Gets the share that is done, for each frame and each step of a solver; false ends the run.
    std::function<bool(double)> progress;
};

class FirstGuess;

/// Thrown when progress() returns false.
struct Cancelled {};

/// From frames to an image: motion, image, motion against the image, weights, image. run() names the steps.
class Reconstruction {
  public:
    Reconstruction(int width, int height, ReconstructionOptions options);
    Reconstruction(const Reconstruction&) = delete;  // its solver calls back
    Reconstruction& operator=(const Reconstruction&) = delete;

    /// Takes the next frame: dense values, and 1 where there is one.
    void addFrame(const float* values, const float* present);
    /// Pixels, ascending, that are left out of all frames unless the frames show that they follow the scene. More than a
    /// sensor may have are ignored. Before run().
    void setKnownDead(const std::vector<std::size_t>& pixels);
    void run(int reference);

    // Results, in the frames' unit. Images are rows x columns of the frame times the factor.
    void copyImage(float* out) const;
    void copyDeviation(float* out) const;
    /// How many frames' worth of weight lies on each pixel of the image.
    void copyWeight(float* out) const;
    const std::vector<FrameState>& frames() const { return frames_; }
    const std::vector<std::size_t>& deadPixels() const { return deadPixels_; }
    const Buffer<float>& pattern() const { return pattern_.values(); }
    const WithheldChoice& withheld() const { return withheld_; }
    double contrast() const { return contrast_; }  ///< the unit of all normalised values
    double leaning() const { return leaning_; }    ///< by which the image fell back to the reference alone
    double gain() const { return gain_; }          ///< over bicubic interpolation, decibels; 0 if unknown
    double shareOnReference() const { return shareOnReference_; }  ///< of the image
    double movement() const;  ///< of the scene over the sensor, in pixels; see SrPreciseResult
    bool sceneMoves() const;  ///< far enough to separate it from the sensor
    double noise() const;     ///< standard deviation of the frames' misfit, in the frames' unit
    long solverSteps() const { return solver_.steps() + withheldSteps_; }

  private:
    // Limits of a final image, of all frames or of the reference alone.
    static constexpr int kFinalFreezes = 5;
    static constexpr int kFinalSteps = 6;
    static constexpr double kMostDead = 0.02;  ///< share of a sensor's pixels that may be dead
    static constexpr double kPlaced = 0.1;     ///< share of the work that is done once all frames are placed
    static constexpr double kFirstStrength = 0.003;
    static constexpr SolverLimits kDraft{1, 7, 1e-3};
    static constexpr int kFewestForImpulses = 3;  ///< frames
    static constexpr float kSpikeWeight =
        0.1f;                            ///< in the image that tells impulses from points of the scene
    static constexpr int kFlickers = 2;  ///< impulses of a pixel from which on it counts as dead

    void normalise();
    void placeFrames();
    /// Whether a frame has the values of one nearer to the reference. Recorders repeat frames; counted twice, a frame's
    /// noise would pass for signal.
    bool repeatsAnother(int k) const;
    void placeFrame(FirstGuess& guess, int k, int towardsReference);
    void solve(double strength, const SolverLimits& limits);
    void refineMotions();
    /// @param trust, values  for work
    void refineMotion(const SplineImage& coefficients, FrameState& frame, MotionFit& fit,
                      const Buffer<float>& trust, const Buffer<float>& values) const;
    void measure();
    bool updatePattern();
    bool patternIsWeak() const;
    void dropDeadPixels();
    void makeImpartialDraft(const std::vector<std::vector<std::size_t>>& spikes);
    /// Leaves out values that no other frame confirms, and pixels that have several. @return whether there were any
    bool dropImpulses();
    void showImpulses(float present);
    void leaveOutFlickering();
    bool areTooManyDead(const std::vector<std::size_t>& pixels) const;
    void addDead(const std::vector<std::size_t>& pixels);
    void leaveOut(const std::vector<std::size_t>& pixels);
    void hideKnownDead();
    void showKnownDead();
    void forgetDead(const std::vector<std::size_t>& sound);
    void judgeKnownDead();
    static double strengthFor(double noise);
    double guessStrength() const;
    void chooseStrength();
    void giveSecondChance();
    /// An image of all frames from the first guess of their motions, and the motions against it.
    void makeDraft();
    /// Dead pixels and the sensor's pattern, each with the image and the motions that follow without them.
    void findSensorFaults();
    /// The final image, for the strength that withheld pixels chose.
    void makeImage();
    /// How far the image can be trusted, its fall-back to the reference, and its standard deviation.
    void assessImage();
    FrameState referenceAlone();
    void judge();
    void fallBack(const FrameState& alone);
    void measureShare();
    void copyScaled(const PaddedImage& image, double scale, double offset, float* out) const;
    void report(double share);

    ReconstructionOptions options_;
    Grid grid_;
    int reference_ = 0;
    std::vector<FrameState> frames_;
    double share_ = 0.0;  ///< of the work that is done
    double mean_ = 0.0, contrast_ = 1.0, noise_ = 0.0;
    double leaning_ = 0.0, gain_ = 0.0, shareOnReference_ = 0.0;
    bool processed_ = false;  ///< frames have less noise than any sensor
    ImageSolver solver_;
    SensorPattern pattern_;
    PaddedImage image_, deviation_, sensitivity_, presence_;
    std::vector<std::size_t> deadPixels_;
    std::vector<std::vector<std::size_t>> impulses_;  ///< of each frame
    std::vector<std::size_t> known_;                  ///< dead pixels, from earlier frames
    std::vector<std::vector<float>> hidden_;          ///< for each frame, where it has values of these
    WithheldChoice withheld_;
    long withheldSteps_ = 0;
};

}  // namespace oravo::vision::detail::precise

#endif
