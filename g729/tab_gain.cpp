// Gain quantizer tables (values of ITU-T G.729 and, for marg and fact, of its Annex B).
#include "g729/tab_gain.h"

extern "C" {

const Word16 pred[4] = {5571, 4751, 2785, 1556};

// clang-format off
const Word16 gbk1[NCODE1][2] = {
    {1, 1516}, {1551, 2425}, {1831, 5022}, {57, 5404},
    {1921, 9291}, {3242, 9949}, {356, 14756}, {2678, 27162}};

const Word16 gbk2[NCODE2][2] = {
    {826, 2005}, {1994, 0}, {5142, 592}, {6160, 2395},
    {8091, 4861}, {9120, 525}, {10573, 2966}, {11569, 1196},
    {13260, 3256}, {14194, 1630}, {15132, 4914}, {15161, 14276},
    {15434, 237}, {16112, 3392}, {17299, 1861}, {18973, 5935}};
// clang-format on

const Word16 map1[NCODE1] = {5, 1, 4, 7, 3, 0, 6, 2};
const Word16 map2[NCODE2] = {4, 6, 0, 2, 12, 14, 8, 10, 15, 11, 9, 13, 7, 3, 1, 5};
const Word16 imap1[NCODE1] = {5, 1, 7, 4, 2, 0, 6, 3};
const Word16 imap2[NCODE2] = {2, 14, 3, 13, 0, 15, 1, 12, 6, 10, 7, 9, 4, 11, 5, 8};

const Word16 coef[2][2] = {{31881, 26416}, {31548, 27816}};
const Word32 L_coef[2][2] = {{2089405952, 1731217536}, {2067549984, 1822990272}};

const Word16 thr1[NCODE1 - NCAN1] = {10808, 12374, 19778, 32567};
const Word16 thr2[NCODE2 - NCAN2] = {14087, 16188, 20274, 21321, 23525, 25232, 27873, 30542};

// Silence-description energy: scale of the averaged energies by how many are averaged, and
// the headroom taken before summing them.
const Word16 fact[3] = {410, 26, 13};
const Word16 marg[3] = {0, 0, 1};

}  // extern "C"
