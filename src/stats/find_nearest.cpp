// FindNearestOne and FindNearest: the entry of an ascending table nearest to a
// value, by binary search; halfway between two entries the lower one wins.
#include <cstddef>

#include "frame/entry.hpp"

using namespace kpl;

namespace {

// The index of the entry nearest to v in table[0..n), n >= 1. Values at or
// beyond either end take that end; otherwise the span halves (n >> 1), the base
// moving up while table[base + half] <= v, and the last step compares the two
// neighbours. base + span never exceeds n, and base stays below n - 1 because
// table[n - 1] > v here, so base + 1 is always inside the table.
int nearest_index(Kpl16u v, const Kpl16u* table, int n) {
  if (v <= table[0]) return 0;
  if (v >= table[n - 1]) return n - 1;
  int base = 0;
  for (int span = n; span > 1;) {
    const int half = span >> 1;
    if (table[base + half] <= v) base += half;
    span -= half;
  }
  return int{v} - int{table[base]} > int{table[base + 1]} - int{v} ? base + 1 : base;
}

}  // namespace

KplStatus KPL_IMPL(kplsFindNearestOne_16u)(Kpl16u inpVal, Kpl16u* pOutVal, int* pOutIndx, const Kpl16u* pTable,
                                           int tblLen) {
  if (any_null(pOutVal, pOutIndx, pTable)) return kplStsNullPointer;
  if (tblLen < 1) return kplStsBadSize;
  const int i = nearest_index(inpVal, pTable, tblLen);
  *pOutVal = pTable[i];
  *pOutIndx = i;
  return kplStsOk;
}

KplStatus KPL_IMPL(kplsFindNearest_16u)(const Kpl16u* pVals, Kpl16u* pOutVals, int* pOutIndx, int len,
                                        const Kpl16u* pTable, int tblLen) {
  if (any_null(pVals, pOutVals, pOutIndx, pTable)) return kplStsNullPointer;
  if (len < 1 || tblLen < 1) return kplStsBadSize;
  const auto n = static_cast<size_t>(len);
  if (tblLen == 1) {  // one entry is nearest to everything
    for (size_t j = 0; j < n; ++j) pOutVals[j] = pTable[0], pOutIndx[j] = 0;
    return kplStsOk;
  }
  for (size_t j = 0; j < n; ++j) {
    const int i = nearest_index(pVals[j], pTable, tblLen);
    pOutVals[j] = pTable[i];
    pOutIndx[j] = i;
  }
  return kplStsOk;
}
