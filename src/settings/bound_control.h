// A control as the settings see it: a name, a tag with its binding, and what the binding fills. The windows
// adapt their widgets to it; tests use plain objects.
#pragma once

#include <string>
#include <string_view>

namespace corvix::settings {

class BoundControl {
 public:
  virtual ~BoundControl() = default;
  virtual std::string Name() const = 0;
  /// The binding, such as "<WINDIR>CORVIX.INI[PREFERENCES]CONVERTPHOTOS|1".
  virtual std::string Tag() const = 0;

  /// What a text box holds.
  virtual std::string Text() const = 0;
  virtual void SetText(std::string_view text) = 0;
  /// What any other control shows.
  virtual void SetCaption(std::string_view text) = 0;

  /// Option button: 0 off, anything else on. Check box: 0 unchecked, 1 checked, 2 grey.
  virtual int State() const = 0;
  /// As a user's click: the group of an option button and the click handling follow. Error 380 for a state
  /// that the control does not have.
  virtual void SetState(int state) = 0;
};

}  // namespace corvix::settings
