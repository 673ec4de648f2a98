// The parameters of the three public solvers, to be included after the definition of the class's Family, with
// ORAVO_SOLVER naming the class. Each class exports them as symbols of its own, so a common base cannot hold them.

namespace oravo::vision {

void ORAVO_SOLVER::setPsfSigma(float sigma) { solver_->setPsfSigma(sigma); }
float ORAVO_SOLVER::getPsfSigma() const { return solver_->parameters().psfSigma; }

void ORAVO_SOLVER::setWeightTV(float weight) { solver_->setWeightTV(weight); }
float ORAVO_SOLVER::getWeightTV() const { return solver_->parameters().weightTV; }

void ORAVO_SOLVER::setEpsilon(float epsilon) { solver_->setEpsilon(epsilon); }
float ORAVO_SOLVER::getEpsilon() const { return solver_->parameters().epsilon; }

void ORAVO_SOLVER::setMaxIter(int maxIter) { solver_->setMaxIter(maxIter); }
int ORAVO_SOLVER::getMaxIter() const { return solver_->parameters().maxIter; }

void ORAVO_SOLVER::setRelRes(float relRes) { solver_->setRelRes(relRes); }
float ORAVO_SOLVER::getRelRes() const { return solver_->parameters().relRes; }

}  // namespace oravo::vision
