// Exported fixed-point operators of the speech codec (the ITU-T basic operators, G.729's
// double-precision routines and its DSP functions) and the no-op complexity counters.
//
// Codec sources do not include this header: they call the inline twins in namespace g729ops
// (g729/basic_op_inline.h, g729/oper_32b_inline.h), which share the same names.
#pragma once

#include <stdint.h>

#include "kestrune/g729_types.h"
#include "kestrune/kestrune_export.h"

#ifdef __cplusplus
extern "C" {
#endif

// 16-bit operators.
KESTRUNE_API Word16 saturate(Word32 L_var1);
KESTRUNE_API Word16 add(Word16 var1, Word16 var2);
KESTRUNE_API Word16 sub(Word16 var1, Word16 var2);
KESTRUNE_API Word16 abs_s(Word16 var1);
KESTRUNE_API Word16 shl(Word16 var1, Word16 var2);
KESTRUNE_API Word16 shr(Word16 var1, Word16 var2);
KESTRUNE_API Word16 mult(Word16 var1, Word16 var2);
KESTRUNE_API Word16 mult_r(Word16 var1, Word16 var2);
KESTRUNE_API Word16 negate(Word16 var1);
KESTRUNE_API Word16 extract_h(Word32 L_var1);
KESTRUNE_API Word16 extract_l(Word32 L_var1);
KESTRUNE_API Word16 round_fx(Word32 L_var1);
KESTRUNE_API Word16 mac_r(Word32 L_var3, Word16 var1, Word16 var2);
KESTRUNE_API Word16 msu_r(Word32 L_var3, Word16 var1, Word16 var2);
KESTRUNE_API Word16 shr_r(Word16 var1, Word16 var2);
KESTRUNE_API Word16 norm_s(Word16 var1);
KESTRUNE_API Word16 norm_l(Word32 L_var1);
KESTRUNE_API Word16 div_s(Word16 var1, Word16 var2);
KESTRUNE_API Word16 i_mult(Word16 var1, Word16 var2);

// 32-bit operators.
KESTRUNE_API Word32 L_mult(Word16 var1, Word16 var2);
KESTRUNE_API Word32 L_mac(Word32 L_var3, Word16 var1, Word16 var2);
KESTRUNE_API Word32 L_msu(Word32 L_var3, Word16 var1, Word16 var2);
KESTRUNE_API Word32 L_macNs(Word32 L_var3, Word16 var1, Word16 var2);
KESTRUNE_API Word32 L_msuNs(Word32 L_var3, Word16 var1, Word16 var2);
KESTRUNE_API Word32 L_add(Word32 L_var1, Word32 L_var2);
KESTRUNE_API Word32 L_sub(Word32 L_var1, Word32 L_var2);
KESTRUNE_API Word32 L_add_c(Word32 L_var1, Word32 L_var2);
KESTRUNE_API Word32 L_sub_c(Word32 L_var1, Word32 L_var2);
KESTRUNE_API Word32 L_negate(Word32 L_var1);
KESTRUNE_API Word32 L_shl(Word32 L_var1, Word16 var2);
KESTRUNE_API Word32 L_shr(Word32 L_var1, Word16 var2);
KESTRUNE_API Word32 L_shr_r(Word32 L_var1, Word16 var2);
KESTRUNE_API Word32 L_deposit_h(Word16 var1);
KESTRUNE_API Word32 L_deposit_l(Word16 var1);
KESTRUNE_API Word32 L_abs(Word32 L_var1);
KESTRUNE_API Word32 L_sat(Word32 L_var1);
KESTRUNE_API Word32 L_mult0(Word16 var1, Word16 var2);
KESTRUNE_API Word32 L_mac0(Word32 L_var3, Word16 var1, Word16 var2);
KESTRUNE_API Word32 L_msu0(Word32 L_var3, Word16 var1, Word16 var2);

// Extra operators, exported but not used by the codec.
KESTRUNE_API Word32 L_mls(Word32 L_var1, Word16 var2);
KESTRUNE_API Word16 div_l(Word32 L_num, Word16 den);
KESTRUNE_API int64_t shl_sat(Word32 var1, Word16 var2);
KESTRUNE_API Word32 shl32_sat(Word32 var1, Word16 var2);
KESTRUNE_API Word32 SHIFT_SAT_INST(Word32 var1, Word16 var2);
KESTRUNE_API Word32 win32_negs(Word32 L_var1);

// Double precision: a 32-bit value as hi (upper 16 bits) and lo (next 15 bits).
KESTRUNE_API void L_Extract(Word32 L_32, Word16* hi, Word16* lo);
KESTRUNE_API Word32 L_Comp(Word16 hi, Word16 lo);
KESTRUNE_API Word32 Mpy_32(Word16 hi1, Word16 lo1, Word16 hi2, Word16 lo2);
KESTRUNE_API Word32 Mpy_32_16(Word16 hi, Word16 lo, Word16 n);
KESTRUNE_API Word32 Div_32(Word32 L_num, Word16 denom_hi, Word16 denom_lo);

// Table-driven functions.
KESTRUNE_API void Log2(Word32 L_x, Word16* exponent, Word16* fraction);
KESTRUNE_API Word32 Pow2(Word16 exponent, Word16 fraction);
KESTRUNE_API Word32 Inv_sqrt(Word32 L_x);

// Operation-counting interface; every routine does nothing and counts nothing.
KESTRUNE_API int getCounterId(const char* objectName);
KESTRUNE_API void setCounter(int counterId);
KESTRUNE_API void incrementNbTimeObjectIsCalled(int counterId);
KESTRUNE_API void ClearNbTimeObjectsAreCalled(void);
KESTRUNE_API void Init_WMOPS_counter(void);
KESTRUNE_API void Reset_WMOPS_counter(void);
KESTRUNE_API void WMOPS_output(Word16 notPrintWorstWorstCase);
KESTRUNE_API void generic_WMOPS_output(Word16 notPrintWorstWorstCase, const char* test_file_name);
KESTRUNE_API Word32 TotalWeightedOperation(void);
KESTRUNE_API Word32 DeltaWeightedOperation(void);
KESTRUNE_API Word32 fwc(void);

#ifdef __cplusplus
}
#endif
