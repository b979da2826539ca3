#include "ElfVtable.h"

#include <elf.h>

#include <cstring>
#include <fstream>
#include <iterator>

namespace seam {
namespace {

const size_t WORD = 8;
const size_t HEADER_WORDS = 2;  // offset to top, type information

class ElfImage {
 public:
  explicit ElfImage(std::vector<char> bytes) : data(std::move(bytes)) {}

  bool valid() const {
    if (data.size() < sizeof(Elf64_Ehdr)) return false;
    const Elf64_Ehdr& header = *at<Elf64_Ehdr>(0);
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
           header.e_ident[EI_CLASS] == ELFCLASS64 && header.e_ident[EI_DATA] == ELFDATA2LSB &&
           header.e_shentsize == sizeof(Elf64_Shdr) &&
           header.e_shoff + header.e_shnum * sizeof(Elf64_Shdr) <= data.size();
  }

  std::vector<const Elf64_Shdr*> sections(uint32_t type) const {
    const Elf64_Ehdr& header = *at<Elf64_Ehdr>(0);
    std::vector<const Elf64_Shdr*> found;
    for (size_t i = 0; i < header.e_shnum; ++i) {
      const Elf64_Shdr* section = at<Elf64_Shdr>(header.e_shoff + i * sizeof(Elf64_Shdr));
      if (section->sh_type == type && contains(*section)) found.push_back(section);
    }
    return found;
  }

  const Elf64_Shdr* section(size_t index) const {
    const Elf64_Ehdr& header = *at<Elf64_Ehdr>(0);
    if (index >= header.e_shnum) return nullptr;
    const Elf64_Shdr* found = at<Elf64_Shdr>(header.e_shoff + index * sizeof(Elf64_Shdr));
    return contains(*found) ? found : nullptr;
  }

  bool contains(const Elf64_Shdr& section) const {
    return section.sh_offset <= data.size() && section.sh_size <= data.size() - section.sh_offset;
  }

  template <class T>
  const T* at(size_t offset) const {
    return reinterpret_cast<const T*>(data.data() + offset);
  }

  template <class T>
  size_t count(const Elf64_Shdr& section) const {
    return section.sh_size / sizeof(T);
  }

  std::string text(const Elf64_Shdr& strings, size_t offset) const {
    if (offset >= strings.sh_size) return std::string();
    const char* start = at<char>(strings.sh_offset + offset);
    return std::string(start, strnlen(start, strings.sh_size - offset));
  }

 private:
  std::vector<char> data;
};

struct SymbolTable {
  const Elf64_Shdr* symbols = nullptr;
  const Elf64_Shdr* names = nullptr;
};

SymbolTable symbolTable(const ElfImage& image, uint32_t type) {
  SymbolTable table;
  for (const Elf64_Shdr* section : image.sections(type)) {
    const Elf64_Shdr* names = image.section(section->sh_link);
    if (names != nullptr) {
      table.symbols = section;
      table.names = names;
    }
  }
  return table;
}

std::string symbolName(const ElfImage& image, const SymbolTable& table, size_t index) {
  if (table.symbols == nullptr || index >= image.count<Elf64_Sym>(*table.symbols)) return "";
  const Elf64_Sym* symbol = image.at<Elf64_Sym>(table.symbols->sh_offset) + index;
  return image.text(*table.names, symbol->st_name);
}

// A relative relocation names no symbol: find the function at its address.
std::string functionAt(const ElfImage& image, const SymbolTable& table, Elf64_Addr address) {
  if (table.symbols == nullptr) return "";
  const Elf64_Sym* symbols = image.at<Elf64_Sym>(table.symbols->sh_offset);
  for (size_t i = 0; i < image.count<Elf64_Sym>(*table.symbols); ++i)
    if (ELF64_ST_TYPE(symbols[i].st_info) == STT_FUNC && symbols[i].st_value == address)
      return image.text(*table.names, symbols[i].st_name);
  return "";
}

bool findSymbol(const ElfImage& image, const SymbolTable& table, const std::string& name,
                Elf64_Sym& out) {
  if (table.symbols == nullptr) return false;
  const Elf64_Sym* symbols = image.at<Elf64_Sym>(table.symbols->sh_offset);
  for (size_t i = 0; i < image.count<Elf64_Sym>(*table.symbols); ++i) {
    if (image.text(*table.names, symbols[i].st_name) == name && symbols[i].st_size != 0) {
      out = symbols[i];
      return true;
    }
  }
  return false;
}

}  // namespace

bool readVtableSlots(const std::string& path, const std::string& vtableSymbol,
                     std::vector<std::string>& slots, std::string& error) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    error = "cannot read " + path;
    return false;
  }
  const ElfImage image{
      std::vector<char>{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()}};
  if (!image.valid()) {
    error = path + " is not a little-endian ELF64 object";
    return false;
  }
  const SymbolTable dynamic = symbolTable(image, SHT_DYNSYM);
  const SymbolTable full = symbolTable(image, SHT_SYMTAB);
  Elf64_Sym vtable;
  if (!findSymbol(image, dynamic, vtableSymbol, vtable)) {
    error = vtableSymbol + " is not a dynamic symbol of " + path;
    return false;
  }
  const Elf64_Addr first = vtable.st_value + HEADER_WORDS * WORD;
  const Elf64_Addr end = vtable.st_value + vtable.st_size;
  slots.assign((end - first) / WORD, std::string());
  for (const Elf64_Shdr* section : image.sections(SHT_RELA)) {
    const Elf64_Rela* relocations = image.at<Elf64_Rela>(section->sh_offset);
    for (size_t i = 0; i < image.count<Elf64_Rela>(*section); ++i) {
      const Elf64_Rela& relocation = relocations[i];
      if (relocation.r_offset < first || relocation.r_offset >= end) continue;
      const size_t symbol = ELF64_R_SYM(relocation.r_info);
      std::string& slot = slots[(relocation.r_offset - first) / WORD];
      slot = symbol != 0 ? symbolName(image, dynamic, symbol)
                         : functionAt(image, full.symbols ? full : dynamic, relocation.r_addend);
    }
  }
  return true;
}

}  // namespace seam
