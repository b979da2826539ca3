#include "ElfVtable.h"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

namespace seam {

bool readVtableSlots(const std::string& path, const std::string& vtableSymbol,
                     std::vector<std::string>& slots, std::string& error) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> data{std::istreambuf_iterator<char>(file),
                               std::istreambuf_iterator<char>()};
  const auto fits = [&](uint64_t offset, uint64_t size) {
    return offset <= data.size() && size <= data.size() - offset;
  };
  const Elf64_Ehdr* header = reinterpret_cast<const Elf64_Ehdr*>(data.data());
  if (data.size() < sizeof *header || std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 ||
      header->e_ident[EI_CLASS] != ELFCLASS64 || header->e_ident[EI_DATA] != ELFDATA2LSB ||
      header->e_shentsize != sizeof(Elf64_Shdr) ||
      !fits(header->e_shoff, header->e_shnum * sizeof(Elf64_Shdr))) {
    error = path + " cannot be read as a little-endian ELF64 object";
    return false;
  }
  // Sections whose contents lie outside the file count as absent (null).
  std::vector<const Elf64_Shdr*> sections;
  for (size_t i = 0; i < header->e_shnum; ++i) {
    const Elf64_Shdr* s = reinterpret_cast<const Elf64_Shdr*>(data.data() + header->e_shoff) + i;
    sections.push_back(fits(s->sh_offset, s->sh_size) ? s : nullptr);
  }
  // The symbols of the last table of `type` whose names are in the file, named.
  typedef std::vector<std::pair<std::string, Elf64_Sym>> Symbols;
  const auto symbols = [&](uint32_t type) {
    Symbols table;
    for (const Elf64_Shdr* s : sections) {
      if (s == nullptr || s->sh_type != type || s->sh_link >= sections.size() ||
          sections[s->sh_link] == nullptr)
        continue;
      const Elf64_Shdr& names = *sections[s->sh_link];
      table.clear();
      for (size_t i = 0; i < s->sh_size / sizeof(Elf64_Sym); ++i) {
        const Elf64_Sym& symbol = reinterpret_cast<const Elf64_Sym*>(data.data() + s->sh_offset)[i];
        std::string name;
        if (symbol.st_name < names.sh_size) {
          const char* start = data.data() + names.sh_offset + symbol.st_name;
          name.assign(start, strnlen(start, names.sh_size - symbol.st_name));
        }
        table.emplace_back(name, symbol);
      }
    }
    return table;
  };
  const Symbols dynamic = symbols(SHT_DYNSYM), full = symbols(SHT_SYMTAB);
  const size_t word = 8, headerSize = 2 * word;  // offset to top, type information
  const auto vtable = std::find_if(dynamic.begin(), dynamic.end(), [&](const auto& symbol) {
    return symbol.first == vtableSymbol && symbol.second.st_size >= headerSize;
  });
  if (vtable == dynamic.end()) {
    error = vtableSymbol + " is not a dynamic symbol of " + path;
    return false;
  }
  // A relative relocation names no symbol: its slot holds the function at its addend.
  const auto functionAt = [&](Elf64_Addr address) -> std::string {
    for (const auto& symbol : full.empty() ? dynamic : full)
      if (ELF64_ST_TYPE(symbol.second.st_info) == STT_FUNC && symbol.second.st_value == address)
        return symbol.first;
    return "";
  };
  const Elf64_Addr first = vtable->second.st_value + headerSize;
  slots.assign((vtable->second.st_size - headerSize) / word, std::string());
  for (const Elf64_Shdr* s : sections) {
    if (s == nullptr || s->sh_type != SHT_RELA) continue;
    for (size_t i = 0; i < s->sh_size / sizeof(Elf64_Rela); ++i) {
      const Elf64_Rela& r = reinterpret_cast<const Elf64_Rela*>(data.data() + s->sh_offset)[i];
      const size_t slot = (r.r_offset - first) / word, symbol = ELF64_R_SYM(r.r_info);
      if (r.r_offset < first || slot >= slots.size()) continue;
      slots[slot] = symbol == 0               ? functionAt(r.r_addend)
                    : symbol < dynamic.size() ? dynamic[symbol].first
                                              : "";
    }
  }
  return true;
}

}  // namespace seam
