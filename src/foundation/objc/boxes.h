#pragma once

#include "foundation/objc/handles.h"

// Foundation's values, taken apart and put together.

enum foundation_Kind {
  foundation_null,
  foundation_boolean,
  foundation_integer,
  foundation_unsigned,
  foundation_floating,
  foundation_string,
  foundation_data,
  foundation_array,
  foundation_dictionary,
  foundation_other
};

FOUNDATION_C enum foundation_Kind foundation_kindOf(id object);
FOUNDATION_C int64_t foundation_integerOf(id number);
FOUNDATION_C double foundation_floatingOf(id number);
/// The units of UTF-16 of a string object.
FOUNDATION_C size_t foundation_unitCountOf(id string);
FOUNDATION_C void foundation_unitsOf(id string, uint16_t *units, size_t count);
FOUNDATION_C const void *foundation_bytesOf(id data, size_t *length);
FOUNDATION_C size_t foundation_countOf(id container);
/// Into room for foundation_countOf objects; return how many there are.
FOUNDATION_C size_t foundation_elementsOf(id array, id *elements, size_t room);
FOUNDATION_C size_t foundation_entriesOf(id dictionary, id *keys, id *values, size_t room);
/// False when the dictionary's keys are strings other than `key`, also those of the dictionaries in it. Looks at few
/// containers.
FOUNDATION_C bool foundation_mayHaveKey(id dictionary, id key);

// These return a reference that belongs to the caller; the containers take references of their own.
FOUNDATION_C id foundation_makeNull(void);
FOUNDATION_C id foundation_makeBoolean(bool value);
FOUNDATION_C id foundation_makeInteger(int64_t value);
FOUNDATION_C id foundation_makeUnsigned(uint64_t value);
FOUNDATION_C id foundation_makeFloating(double value);
FOUNDATION_C id foundation_makeString(const char *text, size_t length);
/// Stands for a container inside itself.
FOUNDATION_C id foundation_makeContainerInItself(void);
FOUNDATION_C id foundation_makeData(const void *bytes, size_t length);
FOUNDATION_C id foundation_makeArray(const id *elements, size_t count);
FOUNDATION_C id foundation_makeDictionary(const id *keys, const id *values, size_t count);
