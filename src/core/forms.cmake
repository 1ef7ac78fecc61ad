# The text forms of values and plain assignment.
target_sources(corvix_core PRIVATE
  conversion_errors.cpp decimal_digits.cpp number_text.cpp value_text.cpp date_parts.cpp date_text.cpp
  field_assignment.cpp)
