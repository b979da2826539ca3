// Reads a C++ vtable's function slots out of a built 64-bit ELF shared object,
// from the dynamic relocations that the loader applies to it: the slot order
// the object was really compiled with, whatever headers a test includes.
#pragma once

#include <string>
#include <vector>

namespace seam {

// The symbol bound to each function slot of `vtableSymbol` (after the offset
// and type-information words), in slot order; "" for a slot that no
// relocation names. False with `error` set when the file cannot be read as a
// little-endian ELF64 object or has no such vtable.
bool readVtableSlots(const std::string& path, const std::string& vtableSymbol,
                     std::vector<std::string>& slots, std::string& error);

}  // namespace seam
