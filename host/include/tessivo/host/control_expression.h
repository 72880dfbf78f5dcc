// A control value that moves with time: an expression in t (seconds), such as
// "0.5 + 0.5*sin(2*pi*t/4)", with ramp, step and seeded noise functions.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace mu {
class Parser;
}

namespace tessivo::host {

class ControlExpression {
 public:
  // Throws HostError "\"TEXT\": column N: what is wrong" for a malformed expression.
  explicit ControlExpression(const std::string &text);
  ~ControlExpression();
  ControlExpression(ControlExpression &&) noexcept;

  // The value at time t; NaN or infinite results are returned as they are.
  float operator()(double t);

 private:
  std::unique_ptr<mu::Parser> parser_;
  std::unique_ptr<double> time_;  // the variable the parser reads, at a stable address
};

// A control value from text: a finite number is a constant, anything else an
// expression in t. Throws HostError for a non-finite number or a bad expression.
std::function<float(double)> makeControlValue(const std::string &text);

}  // namespace tessivo::host
