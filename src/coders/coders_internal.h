// Internals shared by the files of the general-purpose coders: the byte Huffman state and the
// canonical code that encoder and decoder derive from the lengths alone, and the LZSS states.
#ifndef ZEB_CODERS_INTERNAL_H
#define ZEB_CODERS_INTERNAL_H

#include "core/zeb_common.h"

/* ---------------------------------------------------------------------------------------------
 * Byte Huffman
 * ------------------------------------------------------------------------------------------- */

enum {
    kHuffSymbols = 256,
    kHuffMaxLen = 32,      // no length limiting: the tree may be 32 deep, not more
    kHuffStateSize = 2596, // zebsHuffGetSize_8u
    kHuffNoCode = -1       // firstCode of a length without codes: never <= a code value
};

struct HuffEncoderTail {
    Zeb32s maxLen;
    Zeb32u acc;    // pending bits, aligned to the most significant end
    Zeb32s nBits;  // number of pending bits, 0..31
};

struct HuffDecoderTail {
    Zeb8u symbols[kHuffSymbols];        // symbols in code order: longest first, then descending
    Zeb32u firstCode[kHuffMaxLen + 1];  // per length, first code left-aligned to maxLen
    Zeb32s firstIndex[kHuffMaxLen + 1]; // per length, index in symbols of its first code
    Zeb32s maxLen, minLen;              // 0, 0 when no symbol has a code
    Zeb32u acc;                         // pending bits at the top
    Zeb32s nBits;                       // their number, 0..24
    Zeb32s zeroBits;                    // zero bits already shifted out of the accumulator
    Zeb32s zeroSymbol;                  // the symbol whose code is all zeros
};

// Lengths and codes are common to both directions; the rest depends on the direction.
struct ZebHuffState {
    Zeb32s codeLen[kHuffSymbols]; // 0 = no code
    Zeb32u code[kHuffSymbols];    // right-aligned
    union {
        HuffEncoderTail enc;
        HuffDecoderTail dec;
    };
};
static_assert(sizeof(ZebHuffState) <= kHuffStateSize, "the Huffman state outgrew its size");
static_assert(alignof(ZebHuffState) == 4, "the Huffman state needs only 4-byte alignment");

// Gives every symbol with a length 1..32 its canonical code: at the largest length the
// counter starts at 0 and runs through the symbols in descending byte value; before each
// shorter length it is shifted right by one. So the longest codes are numerically smallest
// and the all-zero code belongs to the largest byte value among the longest codes. Lengths
// must lie in 0..32; the codes of an over-subscribed table are cut to their length.
void ownHuffAssignCodes(const Zeb32s codeLen[kHuffSymbols], Zeb32u code[kHuffSymbols]);

/* ---------------------------------------------------------------------------------------------
 * LZSS
 * ------------------------------------------------------------------------------------------- */

enum {
    kLZSSStateSize = 327724, // zebsLZSSGetSize_8u: 44-byte header, two tables, the window
    kLZSSWindowBits = 15,
    kLZSSHistorySize = 1 << kLZSSWindowBits, // 32768
    kLZSSMinMatch = 3,
    kLZSSLiteralBits = 9,
    kLZSSMatchBits = 24
};

// Encoder state: this header of 32-bit fields, then the previous-link table and the head table
// of the match finder (32768 x 32-bit each) and its 64 KiB window, at fixed offsets: the header
// holds no address, so the state is the same on every target and may be moved between calls.
struct LZSSEncoderHeader {
    Zeb32s windowStart; // position held at window[0]
    Zeb32s position;    // input bytes held as history
    Zeb32s nBits;       // pending output bits (a flush that fills its destination may leave
                        // this negative)
    Zeb32u bitsHigh;    // the pending bits, left-aligned in 64 bits: high word
    Zeb32u bitsLow;     // low word
    Zeb32u spare[6];    // zero; the tables follow at offset 44
};
enum {
    kLZSSPrevOffset = 44,
    kLZSSHeadOffset = kLZSSPrevOffset + 32768 * 4,
    kLZSSWindowOffset = kLZSSHeadOffset + 32768 * 4
};
static_assert(sizeof(LZSSEncoderHeader) == kLZSSPrevOffset, "the encoder header is 44 bytes");
static_assert(kLZSSWindowOffset + 65536 == kLZSSStateSize, "header, tables and window fill it");

// Decoder state: a header of 32-bit fields, then, at a fixed offset, the history of the 32768
// most recent output bytes as a ring. The header holds no address, so the state is the same on
// every target and may be moved between calls.
struct LZSSDecoderState {
    Zeb32s nBits;         // pending input bits, 0..31
    Zeb32u acc;           // the pending input bits, at the top
    Zeb32s matchLen;      // rest of a match cut short by a full destination, 0 when none
    Zeb32s matchDist;     // its distance
    Zeb32s historyFill;   // output bytes held in the ring, 0..32768
    Zeb32s historyNext;   // ring index of the next output byte
};
enum { kLZSSDecoderHistoryOffset = 64 };
static_assert(sizeof(LZSSDecoderState) <= kLZSSDecoderHistoryOffset, "decoder header too big");
static_assert(kLZSSDecoderHistoryOffset + kLZSSHistorySize <= kLZSSStateSize,
              "the decoder history must lie inside the state");

#endif /* ZEB_CODERS_INTERNAL_H */
