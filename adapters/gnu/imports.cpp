// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Each call across objects has a relocation with the name of what is called, also before it is bound. The symbol table
// itself tells no size where an object exports nothing, so that the relocations are walked instead.

#include "adapters/gnu/imports.h"

#include <elf.h>
#include <link.h>

#include <string_view>

#include "tamrun/types.h"

namespace {

constexpr std::string_view kPrefix = "_gfortran_";

/// Behind the prefix: namelist groups, items with defined input or output, and procedures that ask about a file or move
/// bytes past its records.
constexpr std::string_view kPeersAlone[] = {"st_set_nml", "transfer_derived", "fstat", "fgetc", "fputc", "ttynam"};

bool is_peers_alone(std::string_view name) {
  if (!name.starts_with(kPrefix)) return false;
  name.remove_prefix(kPrefix.size());
  for (const std::string_view start : kPeersAlone)
    if (name.starts_with(start)) return true;
  return false;
}

/// The parts of an object's dynamic section that name what it imports.
class Imports {
 public:
  explicit Imports(const dl_phdr_info& object) : base_(object.dlpi_addr) {
    for (int i = 0; i < object.dlpi_phnum; ++i) {
      const Elf64_Phdr& segment = object.dlpi_phdr[i];
      if (segment.p_type == PT_DYNAMIC) read(reinterpret_cast<const Elf64_Dyn*>(base_ + segment.p_vaddr));
    }
  }

  bool name_peers_alone() const {
    if (symbols_ == nullptr || names_ == nullptr) return false;
    return any(calls_, call_bytes_) || any(others_, other_bytes_);
  }

 private:
  void read(const Elf64_Dyn* entry) {
    for (; entry->d_tag != DT_NULL; ++entry) {
      switch (entry->d_tag) {
        case DT_SYMTAB:
          symbols_ = table<Elf64_Sym>(*entry);
          break;
        case DT_STRTAB:
          names_ = table<char>(*entry);
          break;
        case DT_JMPREL:
          calls_ = table<Elf64_Rela>(*entry);
          break;
        case DT_PLTRELSZ:
          call_bytes_ = entry->d_un.d_val;
          break;
        case DT_RELA:
          others_ = table<Elf64_Rela>(*entry);
          break;
        case DT_RELASZ:
          other_bytes_ = entry->d_un.d_val;
          break;
        default:
          break;
      }
    }
  }

  /// The loader has made addresses of these offsets where it can write them.
  template <class T>
  const T* table(const Elf64_Dyn& entry) const {
    const u64 place = entry.d_un.d_ptr;
    return reinterpret_cast<const T*>(place < base_ ? base_ + place : place);
  }

  bool any(const Elf64_Rela* relocation, u64 bytes) const {
    if (relocation == nullptr) return false;
    for (u64 left = bytes / sizeof *relocation; left > 0; --left, ++relocation) {
      const Elf64_Sym& symbol = symbols_[ELF64_R_SYM(relocation->r_info)];
      if (symbol.st_name != 0 && symbol.st_shndx == SHN_UNDEF && is_peers_alone(names_ + symbol.st_name)) return true;
    }
    return false;
  }

  u64 base_;
  const Elf64_Sym* symbols_ = nullptr;
  const char* names_ = nullptr;
  const Elf64_Rela *calls_ = nullptr, *others_ = nullptr;
  u64 call_bytes_ = 0, other_bytes_ = 0;
};

int visit(dl_phdr_info* object, size_t, void*) { return Imports(*object).name_peers_alone() ? 1 : 0; }

}  // namespace

bool program_needs_peers_files() { return dl_iterate_phdr(visit, nullptr) != 0; }
