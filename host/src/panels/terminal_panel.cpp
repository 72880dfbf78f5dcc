// TerminalPanel: lists the panel's controls and reads changes line by line.
#include "tessivo/host/terminal_panel.h"

#include <istream>
#include <ostream>
#include <string>

#include "settings/value_text.h"

namespace tessivo::host {

namespace {

std::string describeChoices(const PanelControlModel &control) {
  switch (control.kind) {
    case ControlKind::Popup: {
      std::string choices;
      for (const PopupEntry &entry : control.entries) {
        if (!choices.empty()) choices += " | ";
        choices += entry.label;
        if (entry.value == control.value) choices += "*";
      }
      return "[" + choices + "]";
    }
    case ControlKind::CheckBox: return "(on/off)";
    case ControlKind::NumberField:
      return "(" + std::to_string(control.minimum) + ".." + std::to_string(control.maximum) + ")";
    case ControlKind::ColorButton: return "(#RRGGBB)";
    default: return {};
  }
}

std::string nameOf(const PanelControlModel &control) {
  return control.caption.empty() ? std::string(controlKindName(control.kind)) : control.caption;
}

}  // namespace

void TerminalPanel::list(const PanelModel &model) const {
  out_ << title_ << "\n";
  std::size_t number = 0;
  for (const PanelControlModel &control : model.controls) {
    if (!control.isEditable()) continue;
    out_ << "  " << ++number << ". " << nameOf(control) << ": " << control.valueText() << "  "
         << describeChoices(control) << "\n";
  }
  out_ << "Type \"N = value\" to change a control, \"ok\" to accept, \"cancel\" to leave, \"help\" for more.\n";
}

std::optional<std::string> TerminalPanel::nextLine() {
  if (readLine_) return readLine_("> ");
  out_ << "> " << std::flush;
  std::string line;
  for (int c = in_.get(); c != '\n'; c = in_.get()) {
    if (c == std::char_traits<char>::eof()) {
      if (line.empty()) return std::nullopt;
      break;
    }
    if (line.size() == kMaxPanelLine) {
      // Not typed by a person (endless input without newlines): stop reading.
      out_ << "\nA line longer than " << kMaxPanelLine << " characters: the input is not read further.\n";
      return std::nullopt;
    }
    line += static_cast<char>(c);
  }
  return line;
}

std::int32_t TerminalPanel::nextHitItem(PanelModel &model) {
  if (lastWasOK_) out_ << "The module does not accept these values yet; change them or cancel.\n";
  lastWasOK_ = false;
  list(model);
  const auto editable = model.editableControls();
  while (true) {
    const std::optional<std::string> line = nextLine();
    if (!line) {
      out_ << "\n";
      endOfInput_ = true;
      return kPanelItemCancel;
    }
    const std::string_view command = trimmed(*line);
    if (command.empty()) continue;
    if (equalsIgnoreCase(command, "ok")) {
      lastWasOK_ = true;
      return kPanelItemOK;
    }
    if (equalsIgnoreCase(command, "cancel")) return kPanelItemCancel;
    if (equalsIgnoreCase(command, "list")) {
      list(model);
      continue;
    }
    if (equalsIgnoreCase(command, "help") || command == "?") {
      out_ << "  N = value   change control N (from 1 to " << editable.size()
           << "): a popup entry, on/off, a whole number in its range, or a colour #RRGGBB\n"
              "  list        show the controls again\n"
              "  ok          accept the values and close\n"
              "  cancel      close without changing anything (so does the end of input)\n";
      continue;
    }
    const auto equals = command.find('=');
    const auto number = equals == std::string_view::npos ? std::nullopt : parseInteger(command.substr(0, equals));
    if (!number) {
      out_ << "Not understood: \"" << command << "\". Type N = value (N from 1 to " << editable.size()
           << "), ok, cancel or help.\n";
      continue;
    }
    if (*number < 1 || static_cast<std::uint64_t>(*number) > editable.size()) {
      out_ << "There is no control " << *number << "; the controls are numbered 1 to " << editable.size() << ".\n";
      continue;
    }
    auto &control = const_cast<PanelControlModel &>(*editable[static_cast<std::size_t>(*number - 1)]);
    if (const auto error = setControlFromText(control, command.substr(equals + 1))) {
      out_ << nameOf(control) << ": " << *error << "\n";
      continue;
    }
    out_ << "  " << *number << ". " << nameOf(control) << ": " << control.valueText() << "\n";
  }
}

}  // namespace tessivo::host
