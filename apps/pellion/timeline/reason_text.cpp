#include "pellion/timeline/reason_text.h"

namespace pellion {

using platform::Value;

Lines blocked(const Value& details) {
  return {
      {{textAt(details, "effect"), Ink::bad}, {": " + textAt(details, "reason") + "; " + textAt(details, "remedy")}}};
}

Lines notAccepted(const Value& details) {
  const Value* status = details.find("status");
  const std::string what =
      status == nullptr ? "no answer is accepted" : "answer " + textOf(*status) + " is not accepted";
  return {{{what, Ink::bad}, {": " + textAt(details, "reason") + "; " + textAt(details, "remedy")}},
          {{textAt(details, "consequence"), Ink::bad}}};
}

Lines warning(const Value& details) {
  return {{{"warning: " + textAt(details, "problem"), Ink::bad}},
          {{textAt(details, "reason")}},
          {{textAt(details, "remedy")}},
          {{textAt(details, "place"), Ink::faint}}};
}

}  // namespace pellion
