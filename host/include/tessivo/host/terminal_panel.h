// A panel shown to a person on a terminal: the controls are listed and
// changed by number ("3 = Realistic"), then "ok" or "cancel".
#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "tessivo/host/panel_driver.h"

namespace tessivo::host {

// Longest input line; a longer one ends the input (the panel is cancelled),
// so endless input without newlines neither grows memory nor runs forever.
inline constexpr std::size_t kMaxPanelLine = 4096;

class TerminalPanel final : public PanelDriver {
public:
  // Shows the prompt and returns the next line, or nullopt at the end of input.
  using LineReader = std::function<std::optional<std::string>(const std::string &prompt)>;

  // title names the panel ("Fader settings"). Lines come from readLine when
  // given (line editing on a terminal), else from in.
  TerminalPanel(std::istream &in, std::ostream &out, std::string title = "Settings panel", LineReader readLine = {})
      : in_(in), out_(out), title_(std::move(title)), readLine_(std::move(readLine)) {}

  // The input ended before "ok" or "cancel": the panel was cancelled by that.
  bool endedByEndOfInput() const { return endOfInput_; }

protected:
  std::int32_t nextHitItem(PanelModel &model) override;

private:
  void list(const PanelModel &model) const;
  std::optional<std::string> nextLine();

  std::istream &in_;
  std::ostream &out_;
  std::string title_;
  LineReader readLine_;
  bool lastWasOK_ = false;
  bool endOfInput_ = false;
};

}  // namespace tessivo::host
