// The member functions that the two public registrations by corners share, with ORAVO_REGISTRATION naming the class. Each
// class exports them as symbols of its own, so a common base cannot hold them.

namespace oravo::vision {

void ORAVO_REGISTRATION::prepareFrame(const float* frame) { registration_->prepareFrame(frame); }

void ORAVO_REGISTRATION::getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const {
    shifts = registration_->completeShifts;
}

void ORAVO_REGISTRATION::setBlurRadius(int radius) { registration_->tracker.blurRadius = radius; }
int ORAVO_REGISTRATION::getBlurRadius() const { return registration_->tracker.blurRadius; }

void ORAVO_REGISTRATION::setRegErrBlurRadius(int radius) { registration_->flow.regErrBlurRadius = radius; }
int ORAVO_REGISTRATION::getRegErrBlurRadius() const { return registration_->flow.regErrBlurRadius; }

void ORAVO_REGISTRATION::setRegError(float error) { registration_->flow.regError = error; }
float ORAVO_REGISTRATION::getRegError() const { return registration_->flow.regError; }

}  // namespace oravo::vision
