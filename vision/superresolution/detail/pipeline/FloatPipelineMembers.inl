// The member functions that SrFloat and SrFloatNeon share, to be included after the definition of State, with
// ORAVO_PIPELINE naming the class template. Each class exports them as symbols of its own, so a common base cannot hold
// them.

namespace oravo::vision {

template <class Registration>
ORAVO_PIPELINE<Registration>::ORAVO_PIPELINE(int inputWidth, int inputHeight, int windowSize, float srFactor)
    : state_(detail::Body<State>::make(inputWidth, inputHeight, windowSize, srFactor)) {
}

template <class Registration>
int ORAVO_PIPELINE<Registration>::addFrame(const float* image) { return loadFrame(image); }

template <class Registration>
float ORAVO_PIPELINE<Registration>::computeSR(float* out) {
    return state_->computeSR([&] { saveFrame(out); });
}

template <class Registration>
float ORAVO_PIPELINE<Registration>::computeSR(cv::Mat_<float>& out) {
    State& s = *state_;
    out.create(s.output.height, s.output.width);
    return s.computeSR([&] { s.run.copyImage(out); });
}

template <class Registration>
void ORAVO_PIPELINE<Registration>::clearFrames() { state_->frames.clear(); }

template <class Registration>
int ORAVO_PIPELINE<Registration>::getInputSize() const { return state_->input.pixelCount(); }

template <class Registration>
int ORAVO_PIPELINE<Registration>::getOutputSize() const { return state_->output.pixelCount(); }

template <class Registration>
int ORAVO_PIPELINE<Registration>::getWindowSize() const { return state_->frames.capacity(); }

template <class Registration>
void ORAVO_PIPELINE<Registration>::setReferenceIndex(int index) {
    state_->referenceIndex = detail::checkedReferenceIndex(index, getWindowSize());
}
template <class Registration>
int ORAVO_PIPELINE<Registration>::getReferenceIndex() const { return state_->referenceIndex; }

template <class Registration>
void ORAVO_PIPELINE<Registration>::setMaxCGIters(int iterations) {
    state_->minimization.setMaxIter(detail::checkedMaxCGIters(iterations));
}
template <class Registration>
int ORAVO_PIPELINE<Registration>::getMaxCGIters() const { return state_->minimization.getMaxIter(); }

template <class Registration>
void ORAVO_PIPELINE<Registration>::setPsfSigma(float sigma) {
    state_->minimization.setPsfSigma(detail::checkedPsfSigma(sigma));
}
template <class Registration>
float ORAVO_PIPELINE<Registration>::getPsfSigma() const { return state_->minimization.getPsfSigma(); }

template <class Registration>
void ORAVO_PIPELINE<Registration>::setRegError(float error) {
    state_->registration.setRegError(detail::checkedRegError(error));
}
template <class Registration>
float ORAVO_PIPELINE<Registration>::getRegError() const { return state_->registration.getRegError(); }

template <class Registration>
void ORAVO_PIPELINE<Registration>::setRelativeResidue(float residue) {
    state_->minimization.setRelRes(detail::checkedRelativeResidue(residue));
}
template <class Registration>
float ORAVO_PIPELINE<Registration>::getRelativeResidue() const { return state_->minimization.getRelRes(); }

template <class Registration>
void ORAVO_PIPELINE<Registration>::setWeightTV(float weight) {
    state_->minimization.setWeightTV(detail::checkedWeightTV(weight));
}
template <class Registration>
float ORAVO_PIPELINE<Registration>::getWeightTV() const { return state_->minimization.getWeightTV(); }

template <class Registration>
void ORAVO_PIPELINE<Registration>::setMinStructureThreshold(float threshold) {
    state_->minStructureThreshold = threshold;
}
template <class Registration>
float ORAVO_PIPELINE<Registration>::getMinStructureThreshold() const { return state_->minStructureThreshold; }

template <class Registration>
void ORAVO_PIPELINE<Registration>::getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const {
    state_->registration.getCompleteShifts(shifts);
}

template <class Registration>
void ORAVO_PIPELINE<Registration>::saveFrame(float* out) const { state_->copyImage(out); }

}  // namespace oravo::vision
