// What an operator does at the console, for whatever shows it: the window's buttons, settings
// boxes and close box, and the command line's `restart`. A front end holds only this and the
// ConsoleView it shows the console with, never the feeder itself.
#ifndef QUOTLINK_CLIENT_CONSOLE_OPERATOR_H_
#define QUOTLINK_CLIENT_CONSOLE_OPERATOR_H_

#include <string_view>

#include "client/console_surface.h"

namespace quotlink {

// Each call does nothing once the feeder has ended.
class ConsoleOperator {
 public:
  virtual ~ConsoleOperator() = default;
  // The "Hide" button: the window goes, the feeder runs on.
  virtual void PressHide() = 0;
  // The "Restart" button: the settings boxes are checked, saved and a new session starts.
  // Nothing before the form is loaded.
  virtual void PressRestart() = 0;
  // The window's close box: unloads the form, which saves the settings and ends the feeder.
  virtual void CloseWindow() = 0;
  // The operator changed the text of a settings box (kDTNIPT, kDTNPORTT or kLOCALPORTT); other
  // items aren't the operator's and are left alone. Only "Restart" applies the boxes.
  virtual void EditBox(ConsoleItem box, std::string_view text) = 0;
  // The feeder has shut down.
  virtual bool Ended() const = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_CONSOLE_OPERATOR_H_
