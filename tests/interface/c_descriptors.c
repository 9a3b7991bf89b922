/* SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception */
/* C descriptors as a C program uses them: standard names only, and the library as it ships. */
#include <ISO_Fortran_binding.h>
#include <complex.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

static int failures;

#define EXPECT_EQ(actual, expected) expect_eq((long)(actual), (long)(expected), #actual, __LINE__)
#define EXPECT(condition) EXPECT_EQ(!!(condition), 1)
#define DESCRIPTOR(storage) ((CFI_cdesc_t*)&(storage))
#define COUNT(array) (sizeof(array) / sizeof((array)[0]))

static void expect_eq(long actual, long expected, const char* what, int line) {
  if (actual == expected) return;
  printf("line %d: %s is %ld, not %ld\n", line, what, actual, expected);
  ++failures;
}

typedef CFI_CDESC_T(CFI_MAX_RANK) Storage;

static CFI_index_t shape[] = {4, 5, 6};

/* A valid descriptor: rank 3 of int, dense, bounds from 0. */
static CFI_cdesc_t* dense(Storage* storage, void* base, CFI_rank_t rank) {
  memset(storage, 0xAA, sizeof *storage);
  EXPECT_EQ(CFI_establish(DESCRIPTOR(*storage), base, CFI_attribute_other, CFI_type_int, 0, rank, shape), CFI_SUCCESS);
  return DESCRIPTOR(*storage);
}

static void test_types(void) {
#define TYPE(name, of) \
  { CFI_type_##name, sizeof(of) }
  static const struct {
    CFI_type_t type;
    size_t size;
  } types[] = {
      TYPE(signed_char, char),
      TYPE(short, short),
      TYPE(int, int),
      TYPE(long, long),
      TYPE(long_long, long long),
      TYPE(size_t, size_t),
      TYPE(int8_t, int8_t),
      TYPE(int16_t, int16_t),
      TYPE(int32_t, int32_t),
      TYPE(int64_t, int64_t),
      TYPE(intmax_t, intmax_t),
      TYPE(int_least16_t, int_least16_t),
      TYPE(intptr_t, intptr_t),
      TYPE(ptrdiff_t, ptrdiff_t),
      TYPE(int_fast16_t, int_fast16_t),
      TYPE(float, float),
      TYPE(double, double),
      TYPE(int_fast32_t, int_fast32_t),
      TYPE(cptr, void*),
      TYPE(Bool, bool),
      TYPE(float_Complex, float _Complex),
      TYPE(cfunptr, void (*)(void)),
      TYPE(long_double, long double),
      TYPE(double_Complex, double _Complex),
      TYPE(char, char[99]),
      TYPE(struct, char[99]),
      TYPE(long_double_Complex, long double _Complex),
      TYPE(other, char[99]),
  };
  for (size_t i = 0; i < COUNT(types); ++i) {
    CFI_CDESC_T(0) storage;
    CFI_cdesc_t* d = DESCRIPTOR(storage);
    EXPECT_EQ(CFI_establish(d, NULL, CFI_attribute_pointer, types[i].type, 99, 0, NULL), CFI_SUCCESS);
    EXPECT_EQ(d->elem_len, types[i].size);
    EXPECT_EQ(d->type, types[i].type);
  }
}

static void test_establish(void) {
  static int object;
  static CFI_index_t negative[] = {3, -1};
  static const struct {
    int status;
    void* base;
    int attribute, type;
    size_t elem_len;
    long rank;
    CFI_index_t* extents;
    int version;
  } rows[] = {
      {CFI_INVALID_ATTRIBUTE, &object, 0, 99, 0, 99, negative, 0},
      {CFI_INVALID_ATTRIBUTE, &object, 4, CFI_type_int, 0, 1, shape, CFI_VERSION},
      {CFI_INVALID_TYPE, &object, 2, 14, 0, 99, negative, 0},
      {CFI_INVALID_TYPE, NULL, 2, 0, 0, 0, shape, CFI_VERSION},
      {CFI_INVALID_TYPE, NULL, 2, -1, 0, 0, shape, CFI_VERSION},
      {CFI_INVALID_RANK, &object, 2, CFI_type_int, 0, 32, negative, 0},
      {CFI_INVALID_RANK, &object, 1, CFI_type_int, 0, -1, shape, CFI_VERSION},
      {CFI_ERROR_BASE_ADDR_NOT_NULL, &object, 2, CFI_type_int, 0, 2, negative, 0},
      {CFI_INVALID_DESCRIPTOR, &object, 3, CFI_type_other, 0, 2, negative, 0},
      {CFI_INVALID_ELEM_LEN, &object, 3, CFI_type_other, 0, 2, negative, CFI_VERSION},
      {CFI_INVALID_ELEM_LEN, &object, 3, CFI_type_char, 0, 2, negative, CFI_VERSION},
      {CFI_INVALID_ELEM_LEN, &object, 3, CFI_type_struct, 0, 2, negative, CFI_VERSION},
      {CFI_INVALID_EXTENT, &object, 3, CFI_type_int, 0, 2, negative, CFI_VERSION},
      {CFI_SUCCESS, NULL, 1, CFI_type_int, 0, 2, negative, CFI_VERSION},
      {CFI_SUCCESS, &object, 3, CFI_type_int, 0, 0, negative, CFI_VERSION},
  };
  for (size_t i = 0; i < COUNT(rows); ++i) {
    Storage storage, before;
    memset(&storage, 0xAA, sizeof storage);
    before = storage;
    EXPECT_EQ(for_CFI_establish(DESCRIPTOR(storage), rows[i].base, rows[i].attribute, rows[i].type, rows[i].elem_len,
                                rows[i].rank, rows[i].extents, rows[i].version),
              rows[i].status);
    if (rows[i].status != CFI_SUCCESS) EXPECT_EQ(memcmp(&storage, &before, sizeof storage), 0);
    EXPECT_EQ(memcmp(storage.dim, before.dim, sizeof storage.dim), 0);
  }
  Storage storage;
  CFI_cdesc_t* d = dense(&storage, &object, 3);
  for (int k = 0, sm = sizeof(int); k < 3; sm *= (int)shape[k++]) {
    EXPECT_EQ(d->dim[k].extent, shape[k]);
    EXPECT_EQ(d->dim[k].sm, sm);
    EXPECT_EQ(d->dim[k].lower_bound, 0);
  }
  EXPECT_EQ(d->cfi_flags, 0);
  EXPECT_EQ(storage.dim[3].extent, 0xAAAAAAAAAAAAAAAA);
}

/* What is wrong with a descriptor, as CFI_setpointer tells it of its source. */
static void test_validation(void) {
  static int object[120];
#define WORD(member) offsetof(Storage, member)
  static const struct {
    int status;
    size_t word;
    long value;
    size_t word2;
    long value2;
  } rows[] = {
      {CFI_INVALID_DESCRIPTOR, WORD(version), 0x100000000 + CFI_VERSION, WORD(rank), 99},
      {CFI_INVALID_RANK, WORD(rank), 32, WORD(type), 99},
      {CFI_INVALID_RANK, WORD(rank), -1, WORD(type), 99},
      {CFI_INVALID_TYPE, WORD(type), 0, WORD(attribute), 0},
      {CFI_INVALID_ATTRIBUTE, WORD(attribute), 4, WORD(elem_len), 0},
      {CFI_INVALID_ELEM_LEN, WORD(elem_len), 0, WORD(dim[0].extent), -1},
      {CFI_INVALID_EXTENT, WORD(dim[0].extent), -1, WORD(dim[0].sm), 1},
      {CFI_INVALID_EXTENT, WORD(dim[2].extent), -2, WORD(dim[0].sm), 4},
      {CFI_INVALID_DESCRIPTOR, WORD(dim[0].sm), 3, WORD(dim[2].extent), -1},
      {CFI_INVALID_DESCRIPTOR, WORD(dim[1].sm), 15, WORD(dim[2].extent), -1},
      {CFI_INVALID_EXTENT, WORD(attribute), CFI_attribute_pointer, WORD(dim[2].extent), -1},
      {CFI_SUCCESS, WORD(dim[0].sm), -4, WORD(dim[2].extent), -1},
      {CFI_SUCCESS, WORD(dim[0].extent), -5, WORD(base_addr), 0},
  };
  for (size_t i = 0; i < COUNT(rows); ++i) {
    Storage source_storage, result_storage;
    CFI_cdesc_t* source = dense(&source_storage, object, 3);
    CFI_cdesc_t* result = dense(&result_storage, NULL, 3);
    result->attribute = CFI_attribute_pointer;
    *(long*)((char*)source + rows[i].word) = rows[i].value;
    *(long*)((char*)source + rows[i].word2) = rows[i].value2;
    const Storage before = result_storage;
    EXPECT_EQ(CFI_setpointer(result, source, NULL), rows[i].status);
    if (rows[i].status == CFI_SUCCESS) continue;
    EXPECT_EQ(memcmp(&before, &result_storage, sizeof before), 0);
    EXPECT(CFI_address(source, shape) == NULL);
    EXPECT_EQ(CFI_is_contiguous(source), 0);
    EXPECT_EQ(CFI_deallocate(source), rows[i].status);
    EXPECT_EQ(CFI_allocate(source, shape, shape, 0), rows[i].status);
    EXPECT_EQ(CFI_section(source, result, NULL, NULL, NULL), rows[i].status);
    EXPECT_EQ(CFI_section(result, source, NULL, NULL, NULL), rows[i].status);
    EXPECT_EQ(CFI_select_part(result, source, 0, 0), rows[i].status);
  }
}

static void test_allocate(void) {
  static const struct {
    int status, attribute, type;
    CFI_index_t lower, upper;
    size_t elem_len, stored_len;
  } rows[] = {
      {CFI_SUCCESS, CFI_attribute_allocatable, CFI_type_double, -3, 4, 99, 8},
      {CFI_SUCCESS, CFI_attribute_pointer, CFI_type_char, 1, 3, 5, 5},
      {CFI_SUCCESS, CFI_attribute_allocatable, CFI_type_char, 1, 3, 0, 0},
      {CFI_SUCCESS, CFI_attribute_allocatable, CFI_type_struct, 1, 3, 5, 7},
      {CFI_SUCCESS, CFI_attribute_pointer, CFI_type_int, 7, 6, 0, 4},
      {CFI_ERROR_MEM_ALLOCATION, CFI_attribute_pointer, CFI_type_int, 7, 5, 0, 4},
      {CFI_ERROR_MEM_ALLOCATION, CFI_attribute_other, CFI_type_int, 7, 5, 0, 4},
      {CFI_INVALID_ATTRIBUTE, CFI_attribute_other, CFI_type_int, 7, 7, 0, 4},
      {CFI_ERROR_MEM_ALLOCATION, CFI_attribute_allocatable, CFI_type_double, 1, (CFI_index_t)1 << 58, 0, 8},
      {CFI_ERROR_MEM_ALLOCATION, CFI_attribute_allocatable, CFI_type_double, PTRDIFF_MIN, PTRDIFF_MAX, 0, 8},
      {CFI_ERROR_MEM_ALLOCATION, CFI_attribute_allocatable, CFI_type_double, PTRDIFF_MAX, PTRDIFF_MIN, 0, 8},
  };
  for (size_t i = 0; i < COUNT(rows); ++i) {
    CFI_CDESC_T(2) storage;
    CFI_cdesc_t* d = DESCRIPTOR(storage);
    EXPECT_EQ(CFI_establish(d, NULL, rows[i].attribute, rows[i].type, 7, 2, NULL), CFI_SUCCESS);
    const CFI_index_t lower[] = {rows[i].lower, 2}, upper[] = {rows[i].upper, 4};
    EXPECT_EQ(CFI_allocate(d, lower, upper, rows[i].elem_len), rows[i].status);
    EXPECT_EQ(d->base_addr != NULL, rows[i].status == CFI_SUCCESS);
    if (rows[i].status != CFI_SUCCESS) continue;
    const CFI_index_t extent = rows[i].upper - rows[i].lower + 1, length = (CFI_index_t)rows[i].stored_len;
    const CFI_dim_t expected[] = {{extent, length, rows[i].lower}, {3, extent * length, 2}};
    EXPECT_EQ(memcmp(d->dim, expected, sizeof expected), 0);
    EXPECT_EQ(d->elem_len, length);
    EXPECT_EQ(d->cfi_flags, 5);
    memset(d->base_addr, 1, (size_t)(extent * length * 3));
    EXPECT_EQ(CFI_is_contiguous(d), 1);
    EXPECT_EQ(CFI_allocate(d, lower, upper, rows[i].elem_len), CFI_ERROR_BASE_ADDR_NOT_NULL);
    d->attribute = CFI_attribute_other;
    EXPECT_EQ(CFI_deallocate(d), CFI_INVALID_ATTRIBUTE);
    d->attribute = rows[i].attribute;
    EXPECT_EQ(CFI_deallocate(d), CFI_SUCCESS);
    EXPECT(d->base_addr == NULL);
    EXPECT_EQ(d->cfi_flags, 0);
    EXPECT_EQ(CFI_deallocate(d), CFI_ERROR_BASE_ADDR_NULL);
    EXPECT_EQ(CFI_is_contiguous(d), 0);
  }
}

static int cube[6][5][4]; /* cube[k][j][i] is 100 k + 10 j + i */

/* By the triples alone: sections whose last element is cut short do not pass as valid, and have no CFI_address. */
static char* element(const CFI_cdesc_t* d, const CFI_index_t* index) {
  char* at = d->base_addr;
  for (int k = 0; k < d->rank; ++k) at += (index[k] - d->dim[k].lower_bound) * d->dim[k].sm;
  if (CFI_address(d, index) != NULL) EXPECT(CFI_address(d, index) == at);
  return at;
}

/* Every section of every rank, its elements by their subscripts. */
static void test_sections(void) {
  Storage source_storage, result_storage;
  CFI_cdesc_t* source = dense(&source_storage, cube, 3);
  for (int k = 0; k < 3; ++k) source->dim[k].lower_bound = k - 1;
  const CFI_index_t strides[] = {0, 1, 2, -1, -2};
  for (int which = 0; which < 5 * 5 * 5; ++which) {
    const CFI_index_t st[] = {strides[which % 5], strides[which / 5 % 5], strides[which / 25]};
    CFI_index_t lo[3], up[3], at[3];
    int kept = 0;
    for (int k = 0; k < 3; ++k) {
      lo[k] = source->dim[k].lower_bound + (st[k] < 0 ? shape[k] - 1 : 1);
      up[k] = st[k] == 0 ? lo[k] : source->dim[k].lower_bound + (st[k] < 0 ? 0 : shape[k] - 1);
      kept += st[k] != 0;
    }
    CFI_cdesc_t* result = dense(&result_storage, NULL, kept == 0 ? 1 : kept);
    EXPECT_EQ(CFI_section(result, source, lo, up, st), kept == 0 ? CFI_INVALID_RANK : CFI_SUCCESS);
    if (kept == 0) continue;
    for (int k = 0, r = 0; k < 3; ++k) {
      at[k] = st[k] == 0 ? 1 : (up[k] - lo[k]) / st[k] + 1;
      if (st[k] == 0) continue;
      EXPECT_EQ(result->dim[r].lower_bound, lo[k]);
      EXPECT_EQ(result->dim[r++].extent, at[k]);
    }
    for (int n = 0; n < at[0] * at[1] * at[2]; ++n) {
      const CFI_index_t step[] = {n % at[0], n / at[0] % at[1], n / at[0] / at[1]};
      CFI_index_t index[3];
      int r = 0;
      for (int k = 0; k < 3; ++k)
        if (st[k] != 0) index[r] = lo[k] + step[k], ++r;
      const int* there = &cube[lo[2] - 1 + step[2] * st[2]][lo[1] + step[1] * st[1]][lo[0] + 1 + step[0] * st[0]];
      EXPECT(element(result, index) == (char*)there);
    }
    EXPECT_EQ(CFI_is_contiguous(result),
              result->dim[0].sm == 4 && (kept < 2 || result->dim[1].sm == 4 * result->dim[0].extent) &&
                  (kept < 3 || result->dim[2].sm == result->dim[1].sm * result->dim[1].extent));
  }
}

static void test_section_failures(void) {
  Storage source_storage, result_storage;
  CFI_cdesc_t* source = dense(&source_storage, cube, 3);
  CFI_cdesc_t* result = dense(&result_storage, NULL, 3);
  const CFI_index_t lower[] = {0, 1, 2}, upper[] = {0, 1, 3}, one_dropped[] = {0, 1, 1}, bad[] = {1, 1, 0};
  EXPECT_EQ(CFI_section(result, source, lower, upper, one_dropped), CFI_INVALID_RANK);
  EXPECT_EQ(CFI_section(result, source, lower, upper, bad), CFI_INVALID_EXTENT);
  EXPECT_EQ(CFI_section(result, source, NULL, NULL, NULL), CFI_SUCCESS);
  EXPECT_EQ(memcmp(result->dim, source->dim, 3 * sizeof(CFI_dim_t)), 0);
  /* Extents are not cut off at 0; nonsense neither traps nor ends. */
  const CFI_index_t far[] = {-9, PTRDIFF_MIN, 1}, steps[] = {1, -1, PTRDIFF_MIN};
  EXPECT_EQ(CFI_section(result, source, lower, far, NULL), CFI_SUCCESS);
  EXPECT_EQ(result->dim[0].extent, -8);
  result = dense(&result_storage, NULL, 3);
  EXPECT_EQ(CFI_section(result, source, lower, far, steps), CFI_SUCCESS);
  result = dense(&result_storage, NULL, 3);
  source->dim[2].extent = -1;
  EXPECT_EQ(CFI_section(result, source, NULL, NULL, NULL), CFI_INVALID_EXTENT);
  EXPECT_EQ(CFI_section(result, source, lower, upper, NULL), CFI_SUCCESS);
  EXPECT(CFI_address(source, lower) == NULL);
  EXPECT_EQ(CFI_is_contiguous(source), 1);
  result = dense(&result_storage, NULL, 3);
  result->attribute = CFI_attribute_allocatable;
  EXPECT_EQ(CFI_section(result, source, NULL, NULL, NULL), CFI_INVALID_ATTRIBUTE);
  result->type = CFI_type_float;
  EXPECT_EQ(CFI_section(result, source, NULL, NULL, NULL), CFI_INVALID_TYPE);
  source->base_addr = NULL;
  EXPECT_EQ(CFI_section(result, source, NULL, NULL, NULL), CFI_ERROR_BASE_ADDR_NULL);
  source = dense(&source_storage, cube, 0);
  result = dense(&result_storage, NULL, 3);
  EXPECT_EQ(CFI_section(result, source, NULL, NULL, NULL), CFI_INVALID_RANK);
  EXPECT(CFI_address(source, NULL) == (void*)cube);
}

static void test_select_part(void) {
  static struct {
    int first;
    char text[12];
  } records[4][3];
  static const struct {
    int status, attribute, type, rank, source_rank;
    size_t displacement, elem_len, length;
  } rows[] = {
      {CFI_SUCCESS, 3, CFI_type_int, 2, 2, 12, 99, 4},
      {CFI_SUCCESS, 3, CFI_type_char, 2, 2, 4, 12, 12},
      {CFI_SUCCESS, 1, CFI_type_other, 2, 2, 0, 16, 16},
      {CFI_ERROR_OUT_OF_BOUNDS, 3, CFI_type_char, 2, 2, 4, 13, 0},
      {CFI_ERROR_OUT_OF_BOUNDS, 3, CFI_type_char, 2, 2, 4, SIZE_MAX, 0},
      {CFI_ERROR_OUT_OF_BOUNDS, 3, CFI_type_char, 2, 2, 16, 0, 0},
      {CFI_ERROR_OUT_OF_BOUNDS, 3, CFI_type_int, 2, 2, 13, 1, 0},
      {CFI_INVALID_RANK, 3, CFI_type_int, 1, 2, 0, 0, 0},
      {CFI_INVALID_RANK, 3, CFI_type_int, 0, 0, 0, 0, 0},
      {CFI_INVALID_ATTRIBUTE, 2, CFI_type_int, 2, 2, 16, 0, 0},
  };
  const CFI_index_t extents[] = {3, 4}, subscripts[] = {2, 1};
  for (size_t i = 0; i < COUNT(rows); ++i) {
    Storage source_storage, result_storage;
    CFI_cdesc_t *source = DESCRIPTOR(source_storage), *result = DESCRIPTOR(result_storage);
    CFI_establish(source, records, CFI_attribute_other, CFI_type_struct, 16, rows[i].source_rank, extents);
    CFI_establish(result, NULL, rows[i].attribute, rows[i].type, 1, rows[i].rank, NULL);
    EXPECT_EQ(CFI_select_part(result, source, rows[i].displacement, rows[i].elem_len), rows[i].status);
    EXPECT_EQ(result->base_addr != NULL, rows[i].status == CFI_SUCCESS);
    if (rows[i].status != CFI_SUCCESS) continue;
    EXPECT_EQ(result->elem_len, rows[i].length);
    EXPECT(CFI_address(result, subscripts) == (char*)&records[1][2] + rows[i].displacement);
    source->base_addr = NULL;
    EXPECT_EQ(CFI_select_part(result, source, 0, 1), CFI_ERROR_BASE_ADDR_NULL);
  }
}

static void test_setpointer(void) {
  Storage source_storage, result_storage;
  CFI_cdesc_t* source = dense(&source_storage, cube, 2);
  CFI_cdesc_t* result = dense(&result_storage, NULL, 2);
  const CFI_index_t lower[] = {7, -8};
  EXPECT_EQ(CFI_setpointer(result, source, lower), CFI_INVALID_ATTRIBUTE);
  result->attribute = CFI_attribute_pointer;
  EXPECT_EQ(CFI_setpointer(result, source, lower), CFI_SUCCESS);
  EXPECT(CFI_address(result, lower) == (void*)cube);
  EXPECT_EQ(result->dim[1].extent, 5);
  EXPECT_EQ(result->cfi_flags, 0);
  EXPECT_EQ(CFI_setpointer(result, source, NULL), CFI_SUCCESS);
  EXPECT_EQ(memcmp(result->dim, source->dim, 2 * sizeof(CFI_dim_t)), 0);
  source->base_addr = NULL;
  source->rank = 1;
  EXPECT_EQ(CFI_setpointer(result, source, NULL), CFI_INVALID_RANK);
  source->type = CFI_type_float;
  EXPECT_EQ(CFI_setpointer(result, source, NULL), CFI_INVALID_RANK);
  source->elem_len = 8;
  EXPECT_EQ(CFI_setpointer(result, source, NULL), CFI_INVALID_ELEM_LEN);
  source->elem_len = 4;
  source->rank = 2;
  EXPECT_EQ(CFI_setpointer(result, source, NULL), CFI_INVALID_TYPE);
  EXPECT(result->base_addr == (void*)cube);
  source->type = CFI_type_int;
  result->cfi_flags = 5;
  EXPECT_EQ(CFI_setpointer(result, source, NULL), CFI_SUCCESS);
  EXPECT(result->base_addr == NULL);
  EXPECT_EQ(result->cfi_flags, 4);
  EXPECT_EQ(CFI_setpointer(result, NULL, NULL), CFI_SUCCESS);
}

int main(void) {
  test_types();
  test_establish();
  test_validation();
  test_allocate();
  test_sections();
  test_section_failures();
  test_select_part();
  test_setpointer();
  return failures != 0;
}
