/*
 * zebdc.h - public interface of libzebdca6 (zebdc 5.2), data-compression primitives.
 *
 * The library offers the stages from which an application assembles compressors of its own:
 * the block-sorting chain of bzip2 (run-length stage, Burrows-Wheeler transform, move-to-front,
 * zero-run coding, multi-table Huffman), the deflate chain of RFC 1951 (LZ77 match search,
 * fixed/dynamic/stored block writers with zlib/gzip trailers, a resumable inflate decoder),
 * LZSS, a generic run-length coder, a byte Huffman coder, variable-length code tables,
 * CRC-32/Adler-32 and aligned allocation through replaceable hooks.
 *
 * Conventions that hold for every function below:
 *  - Every operation returns a ZebStatus: 0 success, negative error (nothing was done),
 *    positive warning (part of the work was done and the call can be resumed or finished).
 *  - Arguments are checked before any work: all pointers first (zebStsNullPtr), then lengths
 *    (zebStsBadSize; zebStsVLCError in the VLC family). A call that fails a check writes
 *    nothing. Documented exceptions are noted per function.
 *  - Lengths are signed 32-bit int; a negative length is a size error, never a huge count.
 *  - Streaming calls take pointer/length pairs and advance them by what was consumed and
 *    produced, also when they return a warning.
 *  - Stateful coders follow one life cycle: ...GetSize reports the bytes a state needs,
 *    ...Init builds it in caller memory (never allocates; the caller owns and releases it),
 *    ...InitAlloc allocates with zebsMalloc_8u and initialises, ...Free releases such a state.
 *  - The library performs no I/O, starts no threads and keeps no global state besides the
 *    allocator hooks. Calls are reentrant on distinct states.
 *
 * This header is C99 and C++ clean.
 */
#ifndef ZEBDC_H
#define ZEBDC_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Inside the library ZEBAPI exports a symbol (and realigns the stack on i386); for users it is
 * empty. */
#ifndef ZEBAPI
#define ZEBAPI
#endif

/* An enumeration whose storage is a signed 32-bit int in C and C++ alike, so that any int value
 * may be passed through it. */
#ifdef __cplusplus
#define ZEB_ENUM(tag) enum tag : int
#else
#define ZEB_ENUM(tag) enum tag
#endif

/* ============================================================================================
 * Types
 * ============================================================================================ */

typedef uint8_t Zeb8u;
typedef uint16_t Zeb16u;
typedef int16_t Zeb16s;
typedef uint32_t Zeb32u;
typedef int32_t Zeb32s;

/* Result of every operation. */
typedef ZEB_ENUM(ZebStatusCode) {
    zebStsOk = 0,                   /* success */
    zebStsError = -2,               /* corrupt or inconsistent input, an impossible state */
    zebStsTupleError = -5,          /* unsigned-tuple VLC parameters cannot be represented */
    zebStsBadSize = -6,             /* a length or size argument is out of range */
    zebStsNullPtr = -8,             /* a required pointer argument is null */
    zebStsNoMemory = -9,            /* an ...InitAlloc could not obtain its memory */
    zebStsVLCError = -127,          /* VLC: bad count, bit offset, table or state */
    zebStsVLCBadParams = -129,      /* VLC decoder: code length outside 1..32, bad sub-tables */
    zebStsFreqTableError = -197,    /* byte Huffman: frequency table empty or negative */
    zebStsCodeLenTableError = -198, /* byte Huffman: code length outside 0..32, or unused symbol */
    zebStsCodeTooLong = -199,       /* byte Huffman: tree deeper than 32 */
    zebStsBadContext = -200,        /* bzip2 Huffman: the packed context holds an impossible value */
    zebStsSrcShort = 32,            /* warning: the source ran out before the operation completed */
    zebStsDstFull = 33,             /* warning: the destination filled before the operation completed */
    zebStsStreamEnd = 34            /* warning: the final block of a deflate stream is complete */
} ZebStatus;

/* The library's version record (one constant instance; never free or change it). */
typedef struct ZebLibraryVersion {
    int major;             /* 5 */
    int minor;             /* 2 */
    int majorBuild;        /* 108 */
    int build;             /* 321 */
    char targetCpu[4];     /* "a6" and two zero bytes */
    const char* Name;      /* "libzebdca6.so.5.2" */
    const char* Version;   /* "5.2" */
    const char* BuildDate; /* "Jul 11 2007" */
} ZebLibraryVersion;

/* One LZ77 record, shared by the deflate encoder and the inflate decoder. */
typedef struct ZebLZ77Pair {
    Zeb16u length; /* match length 3..258, or the literal byte when offset is 0 */
    Zeb16u offset; /* 0 for a literal, else the match distance (1 = the previous byte) */
} ZebLZ77Pair;

/* Match-search effort of the LZ77 encoder. Any value other than 0 and 2 acts as 1. */
typedef ZEB_ENUM(ZebLZ77Level_) {
    zebLZ77LevelFast = 0,    /* single-probe rolling hash, greedy parsing */
    zebLZ77LevelAverage = 1, /* chained hash, at most 16 probes, greedy parsing */
    zebLZ77LevelBest = 2     /* chained hash, at most 512 probes, one-step lazy parsing */
} ZebLZ77Level;

/* Running checksum the LZ77 encoder keeps over its input. Any other value: none. */
typedef ZEB_ENUM(ZebLZ77Checksum_) {
    zebLZ77ChecksumNone = 0,
    zebLZ77ChecksumAdler32 = 1, /* zlib trailer */
    zebLZ77ChecksumCRC32 = 2    /* gzip-order trailer (CRC-32 and ISIZE) */
} ZebLZ77Checksum;

typedef ZEB_ENUM(ZebLZ77Flush_) {
    zebLZ77FlushNone = 0,  /* ordinary call */
    zebLZ77FlushSync = 1,  /* block writers: end the block with an empty stored block 00 00 FF FF */
    zebLZ77FlushFull = 2,  /* as Sync; the encoder also drops its history after the call */
    zebLZ77FlushFinal = 3  /* last block: the block writers set BFINAL */
} ZebLZ77Flush;

/* Stage word held by the LZ77 states for the caller. */
typedef ZEB_ENUM(ZebLZ77Status_) {
    zebLZ77StatusInit = 0,    /* after Init */
    zebLZ77StatusLZ77 = 1,    /* the pairs buffer is being filled */
    zebLZ77StatusHuffman = 2, /* the pairs buffer is being coded */
    zebLZ77StatusFinal = 3    /* the stream trailer is due */
} ZebLZ77Status;

/* Type of a deflate block as reported by the decoder. BTYPE 11 has no value. */
typedef ZEB_ENUM(ZebLZ77BlockType_) {
    zebLZ77BlockFixed = 0,   /* BTYPE 01 */
    zebLZ77BlockDynamic = 1, /* BTYPE 10 */
    zebLZ77BlockStored = 2   /* BTYPE 00 */
} ZebLZ77BlockType;

/* One code of a VLC table. */
typedef struct ZebVLCCodeEntry {
    Zeb32s value;  /* the value coded */
    Zeb32u code;   /* the code bits, right-aligned */
    Zeb32s length; /* the number of code bits */
} ZebVLCCodeEntry;

/* Opaque states. Each is a plain block of the size its GetSize reports. */
typedef struct ZebMTFState_8u ZebMTFState_8u;
typedef struct ZebEncodeRLEState_BZ2 ZebEncodeRLEState_BZ2;
typedef struct ZebEncodeHuffState_BZ2 ZebEncodeHuffState_BZ2;
typedef struct ZebDecodeHuffState_BZ2 ZebDecodeHuffState_BZ2;
typedef struct ZebHuffState ZebHuffState;
typedef struct ZebLZSSState ZebLZSSState;
typedef struct ZebLZ77EncoderState ZebLZ77EncoderState;
typedef struct ZebLZ77DecoderState ZebLZ77DecoderState;
typedef struct ZebVLCEncodeState_32s ZebVLCEncodeState_32s;
typedef struct ZebVLCDecodeState_32s ZebVLCDecodeState_32s;
typedef struct ZebVLCDecodeUTupleState_32s ZebVLCDecodeUTupleState_32s;

/* A status as text, for messages ("zebStsDstFull", ...); "unknown status" for other values. */
static inline const char* zebdcStatusName(ZebStatus status)
{
    switch ((int)status) {
    case zebStsOk: return "zebStsOk";
    case zebStsError: return "zebStsError";
    case zebStsTupleError: return "zebStsTupleError";
    case zebStsBadSize: return "zebStsBadSize";
    case zebStsNullPtr: return "zebStsNullPtr";
    case zebStsNoMemory: return "zebStsNoMemory";
    case zebStsVLCError: return "zebStsVLCError";
    case zebStsVLCBadParams: return "zebStsVLCBadParams";
    case zebStsFreqTableError: return "zebStsFreqTableError";
    case zebStsCodeLenTableError: return "zebStsCodeLenTableError";
    case zebStsCodeTooLong: return "zebStsCodeTooLong";
    case zebStsBadContext: return "zebStsBadContext";
    case zebStsSrcShort: return "zebStsSrcShort";
    case zebStsDstFull: return "zebStsDstFull";
    case zebStsStreamEnd: return "zebStsStreamEnd";
    default: return "unknown status";
    }
}

/* ============================================================================================
 * Library frame: version, allocation, vector helpers, sort
 * ============================================================================================ */

/* Allocator hooks, statically initialised to the C library's malloc, calloc, realloc and free.
 * A host that wants its own heap stores its functions here before the first allocation and
 * keeps them until the last zebsFree. Only i_malloc and i_free are ever called. */
extern void* (*i_malloc)(size_t size);
extern void* (*i_calloc)(size_t count, size_t size);
extern void* (*i_realloc)(void* ptr, size_t size);
extern void (*i_free)(void* ptr);
extern int i_version;     /* 1; not read by the library */
extern int i_min_version; /* 0; not read by the library */

/* Returns the constant version record (5.2, build 108.321). */
ZEBAPI const ZebLibraryVersion* zebdcGetLibVersion(void);

/* Allocates len bytes aligned to 32 through i_malloc (asking it for len + 36 bytes).
 * @return the block, or NULL for len < 1 (the hook is then not called) or when the hook fails.
 * The memory is not cleared. Release it with zebsFree, never with free(). */
ZEBAPI Zeb8u* zebsMalloc_8u(int len);

/* Releases a block from zebsMalloc_8u, handing i_free exactly the pointer i_malloc returned.
 * NULL is ignored. */
ZEBAPI void zebsFree(void* ptr);

/* Copies len bytes forward; the regions must not overlap. From 8192 bytes on the copy uses
 * non-temporal stores, from 16384 on it also prefetches the source a page ahead.
 * @return zebStsNullPtr if pSrc or pDst is NULL, zebStsBadSize if len < 1, else zebStsOk. */
ZEBAPI ZebStatus zebsCopy_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len);

/* Copies len bytes as memmove does (overlap in either direction allowed).
 * @return zebStsNullPtr, zebStsBadSize (len < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsMove_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len);

/* Writes val to len bytes (non-temporal stores from 20480 bytes on).
 * @return zebStsNullPtr, zebStsBadSize (len < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsSet_8u(Zeb8u val, Zeb8u* pDst, int len);

/* Writes val to len 16-bit elements (non-temporal stores from 10240 elements on).
 * @return zebStsNullPtr, zebStsBadSize (len < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsSet_16s(Zeb16s val, Zeb16s* pDst, int len);

/* Writes zero to len bytes (non-temporal stores from 20480 bytes on).
 * @return zebStsNullPtr, zebStsBadSize (len < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsZero_8u(Zeb8u* pDst, int len);

/* Sorts len signed 32-bit values ascending, in place; allocates nothing.
 * @return zebStsNullPtr, zebStsBadSize (len < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsSortAscend_32s_I(Zeb32s* pSrcDst, int len);

/* ============================================================================================
 * Checksums
 * ============================================================================================ */

/* Running CRC-32 of zlib and gzip (reflected, polynomial 0xEDB88320). *pCRC32 holds the CRC of
 * the data so far (0 for a new stream) and becomes that of the data followed by pSrc[0..len).
 * @return zebStsNullPtr if pSrc or pCRC32 is NULL, zebStsBadSize if len < 1 (*pCRC32 is then
 * unchanged), else zebStsOk. */
ZEBAPI ZebStatus zebsCRC32_8u(const Zeb8u* pSrc, int len, Zeb32u* pCRC32);

/* Running CRC-32 of bzip2 (unreflected, polynomial 0x04C11DB7), as zebsCRC32_8u otherwise. */
ZEBAPI ZebStatus zebsCRC32_BZ2_8u(const Zeb8u* pSrc, int len, Zeb32u* pCRC32);

/* Running Adler-32 of zlib. *pAdler32 holds the value so far (1 for a new stream); it must be
 * valid and is not checked. Unlike the CRCs:
 * @return zebStsBadSize for a NULL pSrc (and *pAdler32 becomes 0); zebStsOk for len < 1 with
 * *pAdler32 unchanged; otherwise zebStsOk. */
ZEBAPI ZebStatus zebsAdler32_8u(const Zeb8u* pSrc, int len, Zeb32u* pAdler32);

/* ============================================================================================
 * Move-to-front
 * ============================================================================================ */

/* The state is the 256-entry recency list: 256 bytes, no alignment needed. Writes 256.
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsMTFGetSize_8u(int* pSize);

/* Sets the list to the identity 0..255 (the state may lie at any address).
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsMTFInit_8u(ZebMTFState_8u* pMTFState);

/* Allocates and initialises a state; *ppMTFState receives it (NULL on failure).
 * @return zebStsNullPtr if ppMTFState is NULL, zebStsNoMemory if the allocation failed,
 * else zebStsOk. */
ZEBAPI ZebStatus zebsMTFInitAlloc_8u(ZebMTFState_8u** ppMTFState);

/* Replaces each byte by its position in the recency list and moves it to the front. The list
 * carries over between calls, so a stream may be coded in pieces. pSrc == pDst is allowed.
 * @return zebStsNullPtr (any pointer), zebStsBadSize (len < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsMTFFwd_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len, ZebMTFState_8u* pMTFState);

/* Inverse of zebsMTFFwd_8u: replaces each position by the list entry there. In place allowed.
 * @return zebStsNullPtr, zebStsBadSize (len < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsMTFInv_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len, ZebMTFState_8u* pMTFState);

/* Releases a state made by zebsMTFInitAlloc_8u. NULL is ignored. */
ZEBAPI void zebsMTFFree_8u(ZebMTFState_8u* pMTFState);

/* ============================================================================================
 * Burrows-Wheeler transforms
 * ============================================================================================ */

/* Scratch size of zebsBWTFwd_8u: 6 * len + 70145 bytes.
 * @return zebStsNullPtr, zebStsBadSize (len < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsBWTFwdGetSize_8u(int len, int* pSize);

/* Forward transform of a block of any length: sorts the cyclic rotations and writes the byte
 * before each rotation in sorted order to pDst[0..len), and the row of rotation 0 to *pIndex.
 * pBuffer is scratch of zebsBWTFwdGetSize_8u bytes (any alignment); nothing is allocated.
 * @return zebStsNullPtr (any pointer), zebStsBadSize (len < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsBWTFwd_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len, int* pIndex,
                               Zeb8u* pBuffer);

/* Scratch size of zebsBWTInv_8u: 4 * len + 1024 bytes (len is not checked).
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsBWTInvGetSize_8u(int len, int* pSize);

/* Inverse transform: restores the block from its last column pSrc and primary index.
 * len < 2 is zebsCopy_8u(pSrc, pDst, len) (pBuffer may then be NULL).
 * @return zebStsNullPtr, zebStsBadSize (index < 0 or index >= len) or zebStsOk. */
ZEBAPI ZebStatus zebsBWTInv_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len, int index,
                               Zeb8u* pBuffer);

/* Scratch size of the small-block transforms: 4 * len + 2080 bytes.
 * @return zebStsNullPtr, zebStsBadSize (len < 1 or len > 32768) or zebStsOk. */
ZEBAPI ZebStatus zebsBWTGetSize_SmallBlock_8u(int len, int* pSize);

/* Forward transform for blocks of at most 32768 bytes with 16-bit positions; same output as
 * zebsBWTFwd_8u for blocks whose rotations are all distinct.
 * @return zebStsNullPtr, zebStsBadSize (len < 1 or len > 32768) or zebStsOk. */
ZEBAPI ZebStatus zebsBWTFwd_SmallBlock_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len, int* pIndex,
                                          Zeb8u* pBuffer);

/* Inverse transform for blocks of at most 32768 bytes (scratch 2 * len + 512 bytes suffice).
 * len < 2 is zebsCopy_8u(pSrc, pDst, len).
 * @return zebStsNullPtr, zebStsBadSize (index < 0, index >= len or len > 32768) or zebStsOk. */
ZEBAPI ZebStatus zebsBWTInv_SmallBlock_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len, int index,
                                          Zeb8u* pBuffer);

/* ============================================================================================
 * bzip2 run-length stage and symbol dictionary
 * ============================================================================================ */

/* Size of the encoder state: 264 bytes. The state holds no pointers and may be copied.
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsRLEGetSize_BZ2_8u(int* pSize);

/* Starts a block: clears the in-use flags and the pending run.
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeRLEInit_BZ2_8u(ZebEncodeRLEState_BZ2* pState);

/* Allocates and initialises an encoder state. A failed allocation leaves NULL in *ppState and
 * reports zebStsNullPtr (the NULL block reaches Init's check). */
ZEBAPI ZebStatus zebsEncodeRLEInitAlloc_BZ2_8u(ZebEncodeRLEState_BZ2** ppState);

/* Releases a state made by zebsEncodeRLEInitAlloc_BZ2_8u. NULL is ignored. */
ZEBAPI void zebsRLEFree_BZ2_8u(ZebEncodeRLEState_BZ2* pState);

/* bzip2's first stage: runs of 4..259 equal bytes become the four bytes and a count byte.
 * Codes as much of the source as fits; a run may straddle calls. *pDstLen is the capacity on
 * entry and the bytes written on return.
 * @return zebStsNullPtr, zebStsBadSize (*pSrcLen <= 0, *pDstLen <= 0), zebStsOk when the whole
 * source was consumed, zebStsDstFull when source remains (resume with a fresh destination). */
ZEBAPI ZebStatus zebsEncodeRLE_BZ2_8u(Zeb8u** ppSrc, int* pSrcLen, Zeb8u* pDst, int* pDstLen,
                                      ZebEncodeRLEState_BZ2* pState);

/* Writes the count byte of a pending run of 4 or more (at most one byte) at the end of a block.
 * @return zebStsNullPtr, zebStsBadSize (*pDstLen <= 0) or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeRLEFlush_BZ2_8u(Zeb8u* pDst, int* pDstLen, ZebEncodeRLEState_BZ2* pState);

/* Copies the 256 in-use flags (1 = the value occurs in the coded block) to inUse.
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsRLEGetInUseTable_8u(Zeb8u inUse[256], ZebEncodeRLEState_BZ2* pState);

/* Decodes a whole coded block in one call (stateless). *pSrcLen == 0 gives an empty result.
 * @return zebStsNullPtr, zebStsBadSize (*pDstLen <= 0, *pSrcLen < 0), zebStsOk, or
 * zebStsDstFull when the destination is too small for the block (not resumable). */
ZEBAPI ZebStatus zebsDecodeRLE_BZ2_8u(Zeb8u** ppSrc, int* pSrcLen, Zeb8u* pDst, int* pDstLen);

/* Replaces each byte by its rank among the values flagged in inUse; *pSizeDictionary receives
 * the number of flagged values (0..256).
 * @return zebStsNullPtr, zebStsBadSize (len <= 0) or zebStsOk. */
ZEBAPI ZebStatus zebsReduceDictionary_8u_I(const Zeb8u inUse[256], Zeb8u* pSrcDst, int len,
                                           int* pSizeDictionary);

/* Replaces each rank 0..sizeDictionary-1 by the flagged byte value of that rank.
 * @return zebStsNullPtr, zebStsBadSize (len <= 0, sizeDictionary <= 0) or zebStsOk. */
ZEBAPI ZebStatus zebsExpandDictionary_8u_I(const Zeb8u inUse[256], Zeb8u* pSrcDst, int len,
                                           int sizeDictionary);

/* ============================================================================================
 * bzip2 zero-run coding (RUNA/RUNB)
 * ============================================================================================ */

/* Codes move-to-front values as 16-bit symbols: zero runs in bijective base 2 (0 = RUNA,
 * 1 = RUNB), value v as v + 1. Adds 1 to pFreqTable[symbol] for every symbol written (the table
 * is never cleared). Give a destination of at least *pSrcLen elements to code a block at once.
 * Nothing is written past *pDstLen: near the end a run is cut to what the room can code (the
 * surplus zeros stay in the source), and a value whose run took the last element stays there.
 * @return zebStsNullPtr, zebStsBadSize (*pSrcLen <= 0, *pDstLen <= 0), zebStsOk, or
 * zebStsDstFull when source remains. */
ZEBAPI ZebStatus zebsEncodeZ1Z2_BZ2_8u16u(Zeb8u** ppSrc, int* pSrcLen, Zeb16u* pDst, int* pDstLen,
                                          Zeb32u* pFreqTable);

/* Decodes zero-run symbols back to bytes (the end-of-block symbol is not passed in).
 * @return zebStsNullPtr, zebStsBadSize, zebStsOk, or zebStsDstFull when the destination is
 * too small (not resumable: decode the block again into a larger destination). */
ZEBAPI ZebStatus zebsDecodeZ1Z2_BZ2_16u8u(Zeb16u** ppSrc, int* pSrcLen, Zeb8u* pDst, int* pDstLen);

/* ============================================================================================
 * bzip2 multi-table Huffman coding
 *
 * Both directions share a caller-held bit accumulator: *pCode holds the pending bits at its
 * most significant end and *pCodeLenBits their number. The stream is MSB first, as in bzip2.
 * ============================================================================================ */

/* Size of the encoder state for blocks of at most maxBlockLen symbols:
 * (maxBlockLen + 49) / 50 * 2 + 7764 bytes.
 * @return zebStsNullPtr, zebStsBadSize (maxBlockLen < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeHuffGetSize_BZ2_16u8u(int maxBlockLen, int* pSize);

/* Builds the tables (2..6, chosen by the block length) and the selectors of one block of
 * zero-run symbols pSrc[0..srcLen) whose symbol counts are pFreqTable[0..alphabetSize).
 * srcLen must not exceed the maxBlockLen the state was sized for: a state made by InitAlloc
 * refuses a longer block; a state built in caller memory cannot be checked.
 * @return zebStsNullPtr, zebStsBadSize (alphabetSize < 1 or > 258, srcLen < 1, more groups of 50
 * than the state holds or than the 15-bit selector count allows, a symbol >= alphabetSize) or
 * zebStsOk. */
ZEBAPI ZebStatus zebsEncodeHuffInit_BZ2_16u8u(int alphabetSize, const Zeb32u* pFreqTable,
                                              const Zeb16u* pSrc, int srcLen,
                                              ZebEncodeHuffState_BZ2* pState);

/* Allocates a state for maxBlockLen symbols and runs Init on it. A failed allocation reports
 * zebStsNullPtr. */
ZEBAPI ZebStatus zebsEncodeHuffInitAlloc_BZ2_16u8u(int maxBlockLen, int alphabetSize,
                                                   const Zeb32u* pFreqTable, const Zeb16u* pSrc,
                                                   int srcLen, ZebEncodeHuffState_BZ2** ppState);

/* Releases a state made by zebsEncodeHuffInitAlloc_BZ2_16u8u. NULL is ignored. */
ZEBAPI void zebsEncodeHuffFree_BZ2_16u8u(ZebEncodeHuffState_BZ2* pState);

/* Writes the coding-table header: table count, selector count, move-to-front coded selectors,
 * delta-coded code lengths. *pDstLen: capacity in, bytes written out.
 * @return zebStsNullPtr, zebStsBadSize (*pDstLen < 1), zebStsOk, or zebStsDstFull when the
 * destination was too small (the output is then unusable). */
ZEBAPI ZebStatus zebsPackHuffContext_BZ2_16u8u(Zeb32u* pCode, int* pCodeLenBits, Zeb8u* pDst,
                                               int* pDstLen, ZebEncodeHuffState_BZ2* pState);

/* Writes the codes of the whole block given to Init (the whole source is consumed).
 * @return zebStsNullPtr, zebStsBadSize (*pDstLen < 1; *pCodeLenBits outside 0..32; *pSrcLen
 * negative or longer than the block given to Init; a symbol >= alphabetSize), zebStsOk, or
 * zebStsDstFull when the destination was too small (retry the block with a larger one). */
ZEBAPI ZebStatus zebsEncodeHuff_BZ2_16u8u(Zeb32u* pCode, int* pCodeLenBits, Zeb16u** ppSrc,
                                          int* pSrcLen, Zeb8u* pDst, int* pDstLen,
                                          ZebEncodeHuffState_BZ2* pState);

/* Size of the decoder state for blocks of at most maxBlockLen symbols:
 * (maxBlockLen + 49) / 50 + 8176 bytes.
 * @return zebStsNullPtr, zebStsBadSize (maxBlockLen < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeHuffGetSize_BZ2_8u16u(int maxBlockLen, int* pSize);

/* Prepares a decoder for a block of alphabetSize symbols (dictionary size + 2). The state
 * records how many selectors it can hold: one made by InitAlloc keeps the count of its
 * maxBlockLen; a state built here in caller memory is taken to hold the selectors of the
 * largest bzip2 block (900000 symbols, 18000 groups), so give it at least the size GetSize
 * reports for 900000. A header with more selectors is refused.
 * @return zebStsNullPtr, zebStsBadSize (alphabetSize < 1 or > 258) or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeHuffInit_BZ2_8u16u(int alphabetSize, ZebDecodeHuffState_BZ2* pState);

/* Allocates a decoder state for blocks of at most maxBlockLen symbols and runs Init. */
ZEBAPI ZebStatus zebsDecodeHuffInitAlloc_BZ2_8u16u(int maxBlockLen, int alphabetSize,
                                                   ZebDecodeHuffState_BZ2** ppState);

/* Releases a state made by zebsDecodeHuffInitAlloc_BZ2_8u16u. NULL is ignored. */
ZEBAPI void zebsDecodeHuffFree_BZ2_8u16u(ZebDecodeHuffState_BZ2* pState);

/* Reads the coding-table header; resumable at any byte (call again with more source).
 * Impossible values: a table count outside 2..6, a selector count of 0 or above the state's
 * capacity, a selector run reaching the table count, a code length leaving 1..20 at any step,
 * a table whose codes over-subscribe the code space (incomplete tables are accepted).
 * @return zebStsNullPtr, zebStsBadSize (*pSrcLen <= 0, *pCodeLenBits outside 0..32), zebStsOk
 * when the header is complete, zebStsSrcShort, zebStsBadContext for impossible values (the
 * state must then be initialised again), zebStsError for a state not made by Init. */
ZEBAPI ZebStatus zebsUnpackHuffContext_BZ2_8u16u(Zeb32u* pCode, int* pCodeLenBits, Zeb8u** ppSrc,
                                                 int* pSrcLen, ZebDecodeHuffState_BZ2* pState);

/* Decodes the block's symbols up to, not including, the end-of-block symbol. pDst is the start
 * of the block's symbol buffer on every call and *pDstLen its capacity; after zebStsSrcShort
 * call again with the same pDst and *pDstLen and more source. On zebStsOk *pDstLen is the
 * block's symbol count (the end-of-block symbol is stored after them, so give one element more);
 * otherwise it is left as it was. Each symbol needs 20 bits buffered, so the block's last codes
 * decode only with bytes that follow it.
 * @return zebStsNullPtr, zebStsBadSize (*pDstLen < 1, *pSrcLen < 0, *pCodeLenBits outside
 * 0..32), zebStsOk, zebStsSrcShort, zebStsDstFull (the destination cannot hold the block),
 * zebStsBadContext (no complete header read, bits matching no code, more groups than
 * selectors). */
ZEBAPI ZebStatus zebsDecodeHuff_BZ2_8u16u(Zeb32u* pCode, int* pCodeLenBits, Zeb8u** ppSrc,
                                          int* pSrcLen, Zeb16u* pDst, int* pDstLen,
                                          ZebDecodeHuffState_BZ2* pState);

/* ============================================================================================
 * Generic run-length coder
 *
 * Token format: a literal byte, or two equal bytes b b and a count n for a run of n + 2.
 * The last one or two bytes of each encoder call's output may be raw, so each call's output
 * is decoded as one unit.
 * ============================================================================================ */

/* Codes as much of the source as fits. *ppSrc and *pSrcLen advance by the bytes consumed;
 * *pDstLen: capacity in, bytes written out. Tokens go out while three bytes of room remain;
 * then raw source bytes fill the rest. With zebStsDstFull, call again with a new destination
 * and decode each call's output on its own.
 * @return zebStsNullPtr, zebStsBadSize (*pSrcLen < 1, *pDstLen < 1), zebStsOk when all source
 * was consumed, else zebStsDstFull. On an error nothing is changed. */
ZEBAPI ZebStatus zebsEncodeRLE_8u(const Zeb8u** ppSrc, int* pSrcLen, Zeb8u* pDst, int* pDstLen);

/* Decodes the output of one encoder call (in as many calls as the destination needs): tokens
 * while three input bytes remain, then the last one or two bytes raw. A run is written whole
 * or not at all, so a destination of 257 bytes always makes progress. Any input decodes to
 * something. Nothing outside the capacity is written, but bytes of pDst past the *pDstLen
 * produced may be overwritten (long runs are stored in whole 16-byte blocks).
 * @return zebStsNullPtr, zebStsBadSize (*pSrcLen < 1, *pDstLen < 1), zebStsOk when all source
 * was consumed, else zebStsDstFull. */
ZEBAPI ZebStatus zebsDecodeRLE_8u(const Zeb8u** ppSrc, int* pSrcLen, Zeb8u* pDst, int* pDstLen);

/* ============================================================================================
 * Byte Huffman coder
 *
 * One table for the 256 byte values; codes up to 32 bits, canonical with the longest codes
 * numerically smallest (the all-zero code is the largest byte value among the longest codes);
 * written MSB first. The state (2596 bytes, 4-byte aligned, no addresses inside) serves either
 * direction; an encoder state must not be passed to the decoding functions or the reverse.
 * ============================================================================================ */

/* Writes 2596. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsHuffGetSize_8u(Zeb32s* pSize);

/* Builds the code from the frequencies of the 256 byte values.
 * @return zebStsNullPtr, zebStsFreqTableError (no non-zero or a negative frequency),
 * zebStsCodeTooLong (tree deeper than 32) or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeHuffInit_8u(const Zeb32s freqTable[256], ZebHuffState* pState);

/* Allocates 2596 bytes and runs zebsEncodeHuffInit_8u on them. *ppState receives the block even
 * when Init refuses the table (release it with zebsHuffFree_8u); a failed allocation leaves NULL
 * and reports Init's zebStsNullPtr. */
ZEBAPI ZebStatus zebsEncodeHuffInitAlloc_8u(const Zeb32s freqTable[256], ZebHuffState** ppState);

/* Codes srcLen bytes, writing only whole big-endian 32-bit words; the partial word stays in the
 * state. *pDstLen receives the bytes written (room: zebsHuffGetDstBuffSize_8u).
 * @return zebStsNullPtr, zebStsBadSize (srcLen < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeHuff_8u(const Zeb8u* pSrc, Zeb32s srcLen, Zeb8u* pDst, Zeb32s* pDstLen,
                                   ZebHuffState* pState);

/* Writes the pending bits, (count + 7) / 8 bytes zero-padded; *pDstLen receives that number.
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeHuffFinal_8u(Zeb8u* pDst, Zeb32s* pDstLen, ZebHuffState* pState);

/* Writes the code of src at bit dstOffsetBits (0..7) of pDst[0]: ORs into pDst[0], overwrites
 * the following bytes. The caller advances its offset by the code length.
 * @return zebStsNullPtr, zebStsBadSize (offset outside 0..7), zebStsCodeLenTableError (src has
 * no code) or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeHuffOne_8u(Zeb8u src, Zeb8u* pDst, Zeb32s dstOffsetBits,
                                      const ZebHuffState* pState);

/* Copies the 256 code lengths out. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsHuffGetLenCodeTable_8u(Zeb32s codeLenTable[256], const ZebHuffState* pState);

/* Worst-case buffer sizes: for srcLen symbols the encoded bytes, (srcLen * maxLen + maxLen + 7)
 * / 8, in *pEncDstLen; for srcLen encoded bytes the decoded symbols, srcLen * 64 / minLen, in
 * *pDecDstLen (either may be NULL). maxLen is the largest length (1 if none), minLen the
 * smallest non-zero one (32 if none). Both figures are computed in 32-bit arithmetic and wrap
 * for very large srcLen.
 * @return zebStsNullPtr (table), zebStsBadSize (srcLen < 1), zebStsCodeLenTableError (a length
 * above 32 or below 0), zebStsOk. */
ZEBAPI ZebStatus zebsHuffGetDstBuffSize_8u(const Zeb32s codeLenTable[256], Zeb32s srcLen,
                                           Zeb32s* pEncDstLen, Zeb32s* pDecDstLen);

/* Packs the 256 code lengths into 4-bit units, MSB first: units 0..12 carry a value, 13/14/15
 * select the bank 0/13/26 added to the following units; after a length has equalled the one
 * before it twice (the start value 0 counts before symbol 0) a repeat count of at most 32
 * follows. *pDstLen: capacity in, bytes written out (at most 256 are ever needed). The table is
 * written while room lasts, also when the result is an error; a length outside 0..32 is
 * packed as 0.
 * @return zebStsNullPtr, zebStsBadSize (*pDstLen < 1), then after writing
 * zebStsCodeLenTableError (a length outside 0..32), zebStsBadSize (the table did not fit) or
 * zebStsOk. */
ZEBAPI ZebStatus zebsHuffLenCodeTablePack_8u(const Zeb32s codeLenTable[256], Zeb8u* pDst,
                                             Zeb32s* pDstLen);

/* Unpacks 256 code lengths; *pSrcLen: bytes available in, bytes used out. Values may reach 38:
 * zebsDecodeHuffInit_8u refuses lengths above 32. A repeat count beyond the 256th symbol is
 * cut there.
 * @return zebStsNullPtr, zebStsBadSize (*pSrcLen < 1, or the table runs past the end: the table
 * and *pSrcLen are then unchanged), zebStsOk. */
ZEBAPI ZebStatus zebsHuffLenCodeTableUnpack_8u(const Zeb8u* pSrc, Zeb32s* pSrcLen,
                                               Zeb32s codeLenTable[256]);

/* Builds the decoder from the 256 code lengths. Any table of lengths 0..32 is accepted, also an
 * incomplete or over-subscribed one: bit patterns that match no code then end the decoding.
 * @return zebStsNullPtr, zebStsCodeLenTableError (a length outside 0..32) or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeHuffInit_8u(const Zeb32s codeLenTable[256], ZebHuffState* pState);

/* Allocates 2596 bytes and runs zebsDecodeHuffInit_8u, as zebsEncodeHuffInitAlloc_8u does. */
ZEBAPI ZebStatus zebsDecodeHuffInitAlloc_8u(const Zeb32s codeLenTable[256], ZebHuffState** ppState);

/* Decodes at most *pDstLen symbols from srcLen bytes; bits of an unfinished code stay in the
 * state (at most 24 of them, and a count of zero bits) for the next call. Source bytes not yet
 * taken into the state when the destination fills are dropped. The stream has no symbol count:
 * padding zero bits can decode as symbols, so bound the output by *pDstLen. A bit pattern that
 * matches no code (possible only with an odd length table) ends the call there. *pDstLen
 * receives the symbols written.
 * @return zebStsNullPtr, zebStsBadSize (srcLen < 1, *pDstLen < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeHuff_8u(const Zeb8u* pSrc, Zeb32s srcLen, Zeb8u* pDst, Zeb32s* pDstLen,
                                   ZebHuffState* pState);

/* Decodes one symbol at bit srcOffsetBits (0..7) of pSrc, reading (offset + maxLen + 7) / 8
 * bytes; the caller advances by its length.
 * @return zebStsNullPtr, zebStsBadSize (offset outside 0..7, no codes, or no code matches) or
 * zebStsOk. */
ZEBAPI ZebStatus zebsDecodeHuffOne_8u(const Zeb8u* pSrc, Zeb32s srcOffsetBits, Zeb8u* pDst,
                                      const ZebHuffState* pState);

/* Releases a state made by either InitAlloc. NULL is ignored. */
ZEBAPI void zebsHuffFree_8u(ZebHuffState* pState);

/* ============================================================================================
 * LZSS coder
 *
 * Tokens MSB first: literal = 1 and 8 bits; match = 0, 15-bit distance, 8-bit length - 3.
 * 32 KiB window; no header, no end marker. States are 327724 bytes, 4-byte aligned, and hold
 * no addresses (a state may be moved or copied between calls).
 * ============================================================================================ */

/* Writes 327724. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsLZSSGetSize_8u(Zeb32s* pSize);

/* Prepares an encoder state in caller memory. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZSSInit_8u(ZebLZSSState* pState);

/* Allocates and prepares an encoder state. @return zebStsNullPtr, zebStsNoMemory or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZSSInitAlloc_8u(ZebLZSSState** ppState);

/* Codes the source (greedy, chained-hash search of 16 candidates over 32 KiB of history, which
 * carries over between calls); pointers and lengths advance by what was consumed and produced.
 * A call first writes out the whole bytes a full destination held back, and takes a new token
 * only with fewer than 8 bits pending; when the destination fills, it stops after the current
 * token, whose unwritten bits stay pending. So any destination sizes give the bytes of one call
 * with room. The last two bytes of each call's source are always literals. End the stream
 * with zebsEncodeLZSSFlush_8u.
 * @return zebStsNullPtr (any pointer, *ppSrc or *ppDst with a length above 0), zebStsBadSize
 * (a negative length), zebStsDstFull for a destination length of 0, zebStsOk for a source length
 * of 0, else zebStsDstFull when the destination is full (also when the source is used up), or
 * zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZSS_8u(Zeb8u** ppSrc, Zeb32s* pSrcLen, Zeb8u** ppDst, Zeb32s* pDstLen,
                                   ZebLZSSState* pState);

/* Writes the pending bits, (count + 7) / 8 bytes, the last one zero-padded, and advances the
 * pointer and length. When all fit, the state keeps its pending bits (start a new stream with
 * Init). When the destination fills, also with the last byte needed, the rest stays pending
 * and the result is zebStsDstFull: call again with more room until zebStsOk.
 * @return zebStsNullPtr, zebStsBadSize (*pDstLen < 1), zebStsOk, or zebStsDstFull. */
ZEBAPI ZebStatus zebsEncodeLZSSFlush_8u(Zeb8u** ppDst, Zeb32s* pDstLen, ZebLZSSState* pState);

/* Prepares a decoder state in caller memory. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZSSInit_8u(ZebLZSSState* pState);

/* Allocates and prepares a decoder state. @return zebStsNullPtr, zebStsNoMemory or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZSSInitAlloc_8u(ZebLZSSState** ppState);

/* Decodes tokens; pointers and lengths advance by what was consumed and produced. A match cut by
 * a full destination is finished by the next call; bits of an unfinished token wait in the
 * state for more source. Matches reach into the output of earlier calls (32 KiB are kept).
 * @return zebStsNullPtr (pDstLen NULL), zebStsBadSize (*pDstLen < 1), zebStsNullPtr (any other
 * pointer, *ppDst, or *ppSrc with *pSrcLen > 0), zebStsBadSize (*pSrcLen < 0), zebStsOk (source
 * used up), zebStsDstFull (the destination is full, even when nothing else was left), or
 * zebStsError for a distance of 0 or one reaching before the first byte ever produced: the
 * output before that token is delivered and accounted for, and the token stays pending, so
 * every later call fails on it as well. */
ZEBAPI ZebStatus zebsDecodeLZSS_8u(Zeb8u** ppSrc, Zeb32s* pSrcLen, Zeb8u** ppDst, Zeb32s* pDstLen,
                                   ZebLZSSState* pState);

/* Releases a state made by either InitAlloc. NULL is ignored. */
ZEBAPI void zebsLZSSFree_8u(ZebLZSSState* pState);

/* ============================================================================================
 * Deflate encoder (RFC 1951): LZ77 match search and block writers
 *
 * Per chunk: SetStatus(zebLZ77StatusLZ77), zebsEncodeLZ77_8u into the pairs buffer,
 * SetStatus(zebLZ77StatusHuffman), optionally SelectHuffMode, then the fixed, dynamic or stored
 * writer (again after each zebStsDstFull with fresh room). At the end SetStatus(
 * zebLZ77StatusFinal) and zebsEncodeLZ77Flush_8u for the zlib or gzip-order trailer. The caller
 * writes the 2-byte zlib header or the 10-byte gzip header itself.
 *
 * The writers share one bit buffer in the state, so fixed, dynamic and stored blocks may follow
 * each other in any order. Pairs handed to the writers must be literals (length 0..255) or
 * matches of length 3..258 at distance 1..32768; any other pair stops a writer with
 * zebStsError before it is coded (the pairs before it are coded and consumed).
 * ============================================================================================ */

/* Writes 598928, the size of the encoder state. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZ77GetSize_8u(Zeb32s* pSize);

/* Builds an encoder state in 598928 bytes of caller memory, at any alignment (empty history,
 * stage zebLZ77StatusInit, pairs buffer of 65280 pairs inside the state). The state refers to
 * itself: use it where it was built. Any level other than 0 and 2 is taken as 1; the checksum
 * kind is kept as given (Flush refuses a kind other than 0, 1, 2).
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZ77Init_8u(ZebLZ77Level level, ZebLZ77Checksum checksum,
                                       ZebLZ77EncoderState* pState);

/* Allocates and builds an encoder state. @return zebStsNullPtr, zebStsNoMemory or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZ77InitAlloc_8u(ZebLZ77Level level, ZebLZ77Checksum checksum,
                                            ZebLZ77EncoderState** ppState);

/* Releases an encoder or decoder state made by an LZ77 InitAlloc. NULL is ignored. */
ZEBAPI void zebsLZ77Free_8u(void* pState);

/* Reads the stage word. Checks no pointer; always zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZ77GetStatus_8u(ZebLZ77Status* pStatus, const ZebLZ77EncoderState* pState);

/* Sets the stage word. zebLZ77StatusHuffman: a block header is due, and the pairs made since the
 * last zebLZ77StatusLZ77 (the pair index, which zebsEncodeLZ77_8u advances) become the pairs
 * length, the index 0. zebLZ77StatusLZ77: index 0, length 65280. Checks no pointer; always
 * zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZ77SetStatus_8u(ZebLZ77Status status, ZebLZ77EncoderState* pState);

/* Reports the pairs buffer, the current pair index and the buffer length.
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZ77GetPairs_8u(ZebLZ77Pair** ppPairs, Zeb32s* pPairsInd,
                                           Zeb32s* pPairsLen, const ZebLZ77EncoderState* pState);

/* Replaces the pairs buffer descriptor (a buffer of the caller's may be substituted).
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZ77SetPairs_8u(ZebLZ77Pair* pPairs, Zeb32s pairsInd, Zeb32s pairsLen,
                                           ZebLZ77EncoderState* pState);

/* Starts a new stream with the same level and checksum kind: history, hash heads, pair index,
 * the running checksum (Adler-32 1, CRC-32 0), the input count and the writers' bit buffer are
 * cleared; the stage is left to the caller. Checks no pointer; always zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZ77Reset_8u(ZebLZ77EncoderState* pState);

/* Turns source bytes into pairs at *ppDst (room *pDstLen pairs), keeping 32 KiB of history and
 * the running checksum (Adler-32 from 1, or CRC-32 from 0, over every byte consumed).
 * zebLZ77FlushFull makes this call and the next one self-contained: each may still match into
 * the history it starts with, and drops the history after it, so no later match reaches back
 * across the flush. Distances never exceed 32767. A call parses at most 2^30 bytes.
 * @return zebStsNullPtr, zebStsBadSize (a negative length), zebStsOk, or zebStsDstFull when the
 * pairs room ran out before the source (also for a room of 0); the four in/out arguments are
 * advanced by what was consumed and made in every case but the errors. */
ZEBAPI ZebStatus zebsEncodeLZ77_8u(Zeb8u** ppSrc, Zeb32s* pSrcLen, ZebLZ77Pair** ppDst,
                                   Zeb32s* pDstLen, ZebLZ77Flush flush, ZebLZ77EncoderState* pState);

/* Counts the pairs' symbols and chooses fixed (0) or dynamic (1) codes for them; the counts are
 * kept for zebsEncodeLZ77DynamicHuff_8u. Outside a block start (after SetStatus(Huffman)) it
 * only reports the last choice.
 * @return zebStsNullPtr, zebStsBadSize (srcLen < 0), zebStsError (a pair no writer can code)
 * or zebStsOk. */
ZEBAPI ZebStatus zebsEncodeLZ77SelectHuffMode_8u(const ZebLZ77Pair* pSrc, Zeb32s srcLen,
                                                 Zeb32s* pHuffMode, ZebLZ77EncoderState* pState);

/* Writes the pairs as one block with the fixed codes of RFC 1951; resumable at any pair and any
 * bit: after zebStsDstFull call again with fresh room and the pairs not yet consumed. The block
 * ends with the end-of-block code; flush zebLZ77FlushSync or zebLZ77FlushFull adds an empty
 * stored block, so the output ends on a byte boundary with 00 00 FF FF. With zebLZ77FlushFinal
 * the block carries BFINAL and is padded to a byte, but only when the last zebsEncodeLZ77_8u call
 * consumed all of its source; otherwise it is an ordinary block and the stream goes on.
 * @return zebStsNullPtr, zebStsBadSize (a negative length), zebStsError (an invalid pair; or a
 * block begun by the dynamic writer), zebStsOk, zebStsDstFull, or zebStsStreamEnd when the
 * final block is complete. */
ZEBAPI ZebStatus zebsEncodeLZ77FixedHuff_8u(ZebLZ77Pair** ppSrc, Zeb32s* pSrcLen, Zeb8u** ppDst,
                                            Zeb32s* pDstLen, ZebLZ77Flush flush,
                                            ZebLZ77EncoderState* pState);

/* As zebsEncodeLZ77FixedHuff_8u with dynamic codes (lengths limited to 15, 7 for the code-length
 * code) built from the counts of zebsEncodeLZ77SelectHuffMode_8u, or, when it was not called
 * for this block, from the pairs of the block's first call (which must then hold all of the
 * block's pairs: a pair whose symbol has no code gives zebStsError). */
ZEBAPI ZebStatus zebsEncodeLZ77DynamicHuff_8u(ZebLZ77Pair** ppSrc, Zeb32s* pSrcLen, Zeb8u** ppDst,
                                              Zeb32s* pDstLen, ZebLZ77Flush flush,
                                              ZebLZ77EncoderState* pState);

/* Writes the source bytes as one stored block (at most 65535 bytes; BFINAL when flush is
 * zebLZ77FlushFinal); resumable: LEN is that of the first call, later calls pass the rest.
 * @return zebStsNullPtr, zebStsBadSize (a length below 0 or *pSrcLen > 65535), zebStsOk,
 * zebStsDstFull, zebStsSrcShort (fewer bytes than the block still needs),
 * zebStsStreamEnd (final block written). */
ZEBAPI ZebStatus zebsEncodeLZ77StoredBlock_8u(Zeb8u** ppSrc, Zeb32s* pSrcLen, Zeb8u** ppDst,
                                              Zeb32s* pDstLen, ZebLZ77Flush flush,
                                              ZebLZ77EncoderState* pState);

/* In stage zebLZ77StatusFinal, writes the trailer: Adler-32 MSB first (zlib), or CRC-32 (0 for
 * no checksum) and ISIZE LSB first (gzip order); resumable. ISIZE counts the bytes consumed
 * since Init, Reset or a full flush: the calls with zebLZ77FlushFull and the call after one
 * restart it, so a gzip member written with full flushes carries the size since the last full
 * flush, not the member's size. Each trailer byte is followed by a 0 byte at the next
 * destination byte when room remains (not counted as written). Bits a block left in the bit
 * buffer go out first, padded to a byte.
 * @return zebStsNullPtr, zebStsError (another stage or checksum kind), zebStsBadSize (negative
 * room), zebStsOk or zebStsDstFull. */
ZEBAPI ZebStatus zebsEncodeLZ77Flush_8u(Zeb8u** ppDst, Zeb32s* pDstLen, ZebLZ77EncoderState* pState);

/* ============================================================================================
 * Inflate decoder (raw RFC 1951)
 *
 * Per block: zebsDecodeLZ77GetBlockType_8u, then StoredBlock, or FixedHuff/DynamicHuff to pairs
 * and zebsDecodeLZ77_8u to bytes, or FixedHuffFull/DynamicHuffFull straight to bytes, each
 * repeated after zebStsSrcShort (more source) or zebStsDstFull (more room) until zebStsOk
 * (block done) or zebStsStreamEnd (final block done). Any zlib or gzip framing is the caller's.
 *
 * Streams are treated as hostile: a back-reference reaching before everything the stream has
 * produced plus a preset dictionary is refused with zebStsError (in the pairs stage and in the
 * full decoders), so the history never yields bytes the stream did not write. Code lengths are
 * not checked: an incomplete code leaves patterns without a symbol, and in an over-subscribed
 * code a shorter code keeps the patterns it shares with longer ones (so the output never depends
 * on how the input is split); every table and every repeat stays inside the state. A dynamic
 * code whose codes longer than 10 bits need more than 512 second-level entries (256 for
 * distances) has the prefixes that do not fit decode as an invalid symbol (zebStsBadSize).
 * Whole bytes that a decoder read ahead into its bit buffer go back to the source when it stops
 * other than on an empty source (never further back than the bytes of that call), so after
 * zebStsStreamEnd the source pointer stands on the first byte after the deflate stream.
 * ============================================================================================ */

/* Writes 112876, the size of the decoder state. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77GetSize_8u(int* pSize);

/* Builds a decoder state in caller memory. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77Init_8u(ZebLZ77Checksum checksumKind, ZebLZ77DecoderState* pState);

/* Allocates and builds a decoder state (*ppState untouched on failure).
 * @return zebStsNullPtr, zebStsNoMemory or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77InitAlloc_8u(ZebLZ77Checksum checksumKind,
                                            ZebLZ77DecoderState** ppState);

/* Prepares the state for a new stream. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77Reset_8u(ZebLZ77DecoderState* pState);

/* Copies the decoding progress of pSrcState into pDstState (internal pointers rebased). A copy
 * made while a dynamic header is being read cannot go on decoding. The pair records are copied
 * only when both states use their internal pairs buffers. The states must not overlap.
 * @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77CopyState_8u(const ZebLZ77DecoderState* pSrcState,
                                            ZebLZ77DecoderState* pDstState);

/* Presets the history with the first min(dictLen, 32768) bytes of pDict.
 * @return zebStsNullPtr, zebStsBadSize (dictLen < 1) or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77SetDictionary_8u(const Zeb8u* pDict, int dictLen,
                                                ZebLZ77DecoderState* pState);

/* Reports the pairs buffer descriptor kept for the caller. @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77GetPairs_8u(ZebLZ77Pair** ppPairs, int* pPairsInd, int* pPairsLen,
                                           const ZebLZ77DecoderState* pState);

/* Stores a pairs buffer descriptor (no range check). @return zebStsNullPtr or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77SetPairs_8u(ZebLZ77Pair* pPairs, int pairsInd, int pairsLen,
                                           ZebLZ77DecoderState* pState);

/* Reads the stage word. Checks no pointer; always zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77GetStatus_8u(ZebLZ77Status* pStatus, const ZebLZ77DecoderState* pState);

/* Writes the stage word. Checks no pointer; always zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77SetStatus_8u(ZebLZ77Status status, ZebLZ77DecoderState* pState);

/* Reports the type of the block that is next or under way, reading its 3-bit header if needed.
 * BTYPE 11 is consumed and leaves the previous type in place; the block decoder then refuses it.
 * @return zebStsNullPtr, zebStsSrcShort or zebStsOk. */
ZEBAPI ZebStatus zebsDecodeLZ77GetBlockType_8u(Zeb8u** ppSrc, int* pSrcLen,
                                               ZebLZ77BlockType* pBlockType,
                                               ZebLZ77DecoderState* pState);

/* Delivers the bytes of a stored block whose header GetBlockType read. All its bytes, also those
 * already held in the bit buffer, enter the history, so later blocks may refer back to them.
 * @return zebStsNullPtr, zebStsBadSize (*pDstLen < 1, or LEN and NLEN disagree), zebStsError
 * (no stored block under way), zebStsOk, zebStsStreamEnd, zebStsSrcShort, zebStsDstFull. */
ZEBAPI ZebStatus zebsDecodeLZ77StoredBlock_8u(Zeb8u** ppSrc, int* pSrcLen, Zeb8u** ppDst,
                                              int* pDstLen, ZebLZ77DecoderState* pState);

/* Reads a stored block, header included, as one literal pair per byte (*pDstLen counts pairs).
 * @return zebStsNullPtr, zebStsBadSize, zebStsError (not a stored header), zebStsOk,
 * zebStsStreamEnd, zebStsSrcShort, zebStsDstFull. */
ZEBAPI ZebStatus zebsDecodeLZ77StoredHuff_8u(Zeb8u** ppSrc, int* pSrcLen, ZebLZ77Pair** ppDst,
                                             int* pDstLen, ZebLZ77DecoderState* pState);

/* Decodes a fixed-code block into pairs (*pDstLen counts pairs). With zebLZ77FlushSync or
 * zebLZ77FlushFull it instead looks for the 00 00 FF FF flush marker. After the final block the
 * source pointer stands on the first byte after the deflate stream.
 * @return zebStsBadSize (a negative length or an invalid symbol), zebStsError (the header is of
 * another type), zebStsOk (block done), zebStsStreamEnd, zebStsSrcShort, zebStsDstFull. */
ZEBAPI ZebStatus zebsDecodeLZ77FixedHuff_8u(Zeb8u** ppSrc, int* pSrcLen, ZebLZ77Pair** ppDst,
                                            int* pDstLen, ZebLZ77Flush flush,
                                            ZebLZ77DecoderState* pState);

/* As zebsDecodeLZ77FixedHuff_8u for a dynamic-code block (header resumable at any bit). */
ZEBAPI ZebStatus zebsDecodeLZ77DynamicHuff_8u(Zeb8u** ppSrc, int* pSrcLen, ZebLZ77Pair** ppDst,
                                              int* pDstLen, ZebLZ77Flush flush,
                                              ZebLZ77DecoderState* pState);

/* Turns pairs into bytes against the decoder's history (*pSrcLen counts pairs); a match cut by a
 * full destination is finished by the next call that is given at least one pair (a match of
 * length 0 will do). Pairs of any value are safe: a length is cut to the room, an offset beyond
 * the history refused. flush is not used.
 * @return zebStsNullPtr, zebStsBadSize, zebStsError (an offset before the stream's start; the
 * pair is not consumed), zebStsOk (pairs used up), zebStsStreamEnd (and the final block was
 * decoded), zebStsDstFull. */
ZEBAPI ZebStatus zebsDecodeLZ77_8u(ZebLZ77Pair** ppSrc, int* pSrcLen, Zeb8u** ppDst, int* pDstLen,
                                   ZebLZ77Flush flush, ZebLZ77DecoderState* pState);

/* Decodes a fixed-code block straight to bytes; resumable on short source or full destination,
 * never crossing a block boundary. flush is not used.
 * @return zebStsNullPtr, zebStsBadSize (a negative length, an invalid symbol or distance code),
 * zebStsError (a header of another type, or a distance before the stream's start), zebStsOk,
 * zebStsStreamEnd, zebStsSrcShort, zebStsDstFull (also for a room of 0). */
ZEBAPI ZebStatus zebsDecodeLZ77FixedHuffFull_8u(Zeb8u** ppSrc, int* pSrcLen, Zeb8u** ppDst,
                                                int* pDstLen, ZebLZ77Flush flush,
                                                ZebLZ77DecoderState* pState);

/* As zebsDecodeLZ77FixedHuffFull_8u for a dynamic-code block. */
ZEBAPI ZebStatus zebsDecodeLZ77DynamicHuffFull_8u(Zeb8u** ppSrc, int* pSrcLen, Zeb8u** ppDst,
                                                  int* pDstLen, ZebLZ77Flush flush,
                                                  ZebLZ77DecoderState* pState);

/* ============================================================================================
 * Variable-length codes
 *
 * A code table is an array of ZebVLCCodeEntry records {value, code, length}: the code's bits
 * right-aligned in `code` (bits above `length` are ignored), `length` from 1 to 32.
 *
 * Bit position: *ppBitStream points to the current byte and *pBitOffset (0..7) counts the bits
 * of that byte already used, from its most significant bit. Codes are written and read most
 * significant bit first. Every call that succeeds leaves the position just past the last bit it
 * wrote or read; a call that fails leaves it unchanged.
 *
 * States live in one block, found at its first 32-byte boundary: pass the block's start (the
 * pointer InitAlloc returned, or the caller's memory of the GetSize size, at any alignment).
 * Init never allocates; InitAlloc allocates with zebsMalloc_8u and reports a failed allocation as
 * zebStsNullPtr, leaving *ppState NULL. Free clears the state's tag, so that every later call
 * refuses it with zebStsVLCError, and releases the block only if InitAlloc made it; NULL and
 * blocks without the tag (freed already) are ignored.
 *
 * Buffer reach:
 *  - The encoders read the starting byte (only when *pBitOffset > 0, to keep its used bits) and
 *    write the bytes from the starting byte to the byte holding the last code bit, nothing
 *    before or after; the bits after the last code bit in that byte are set to 1.
 *  - A decoder reads, for each code it decodes, the bytes from the code's first byte to the byte
 *    holding its peek's last bit: the peek is the table's longest code length M (plus tupleSize
 *    sign bits for the tuple decoder) counted from the code's first bit. A stream therefore
 *    needs (M + 6) / 8 readable bytes after the byte holding its last bit ((M + tupleSize + 6)
 *    / 8 for tuples). For input that may be corrupt, allow for dstLen codes of that many bits.
 * ============================================================================================ */

/* Size of an encoder state for the table: 64 + 4 * (2^tableBits + range + 1) bytes, where range
 * is the largest value minus the smallest and tableBits the bit length of range + 1.
 * @return zebStsNullPtr, zebStsVLCError (inputTableSize < 1, a length outside 1..32, or a size
 * beyond an int) or zebStsOk. */
ZEBAPI ZebStatus zebsVLCEncodeGetSize_32s(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                          int* pSize);

/* Builds an encoder state in caller memory of the GetSize size. When records repeat a value, the
 * earliest wins. A length of 32 codes 32 zero bits. Values that no record names, and values
 * outside [smallest, largest], have no code: the encoders write no bits for them.
 * @return as zebsVLCEncodeGetSize_32s. */
ZEBAPI ZebStatus zebsVLCEncodeInit_32s(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                       ZebVLCEncodeState_32s* pState);

/* Allocates and builds an encoder state.
 * @return zebStsNullPtr (also for a failed allocation), zebStsVLCError or zebStsOk. */
ZEBAPI ZebStatus zebsVLCEncodeInitAlloc_32s(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                            ZebVLCEncodeState_32s** ppState);

/* Clears the state's tag and releases it if InitAlloc made it. NULL is ignored. */
ZEBAPI void zebsVLCEncodeFree_32s(ZebVLCEncodeState_32s* pState);

/* Writes the codes of srcLen values at the bit position and advances it. Size the stream with
 * zebsVLCCountBits_16s32s.
 * @return zebStsNullPtr (any pointer, *ppBitStream included), zebStsVLCError (srcLen < 1,
 * offset outside 0..7, not a state) or zebStsOk. */
ZEBAPI ZebStatus zebsVLCEncodeBlock_16s1u(const Zeb16s* pSrc, int srcLen, Zeb8u** ppBitStream,
                                          int* pBitOffset, const ZebVLCEncodeState_32s* pState);

/* Writes the code of one value at the bit position and advances it.
 * @return zebStsNullPtr, zebStsVLCError (offset outside 0..7, not a state) or zebStsOk. */
ZEBAPI ZebStatus zebsVLCEncodeOne_16s1u(Zeb16s value, Zeb8u** ppBitStream, int* pBitOffset,
                                        const ZebVLCEncodeState_32s* pState);

/* Sums the code lengths of srcLen values into *pCountBits: the bits the encoders write for them.
 * @return zebStsNullPtr, zebStsVLCError (srcLen < 1, not a state, a sum beyond an int) or
 * zebStsOk. */
ZEBAPI ZebStatus zebsVLCCountBits_16s32s(const Zeb16s* pSrc, int srcLen, Zeb32s* pCountBits,
                                         const ZebVLCEncodeState_32s* pState);

/* Size of a decoder state: table elements * width / 8 + 88 bytes.
 * pSubTablesSizes lists the index widths of the table levels; the levels used are the shortest
 * prefix of the list whose sum reaches the longest code M, the last one cut so that the sum is
 * M. The first level is one sub-table of 2^s0 entries; each deeper level k has a sub-table of
 * 2^sk entries per distinct prefix of length s0 + ... + s(k-1) of a longer code; every sub-table
 * takes one more element for its width. The element width is 8, 16 or 32 bits, the narrowest
 * that holds 1 + L + the bits of the largest |value| plus a sign (L: the bit length of the most
 * code bits a level resolves) and 1 + the bits of (elements + 1). From 1024 records on the
 * prefix count compares every pair of records (time quadratic in inputTableSize).
 * @return zebStsNullPtr, zebStsVLCError (inputTableSize < 1), zebStsVLCBadParams (a length
 * outside 1..32, a used size below 1, sizes that do not reach M, a size beyond an int) or
 * zebStsOk. */
ZEBAPI ZebStatus zebsVLCDecodeGetSize_32s(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                          const Zeb32s* pSubTablesSizes, int numSubTables,
                                          int* pSize);

/* Builds a decoder state in caller memory of the GetSize size. Codes need not cover every bit
 * pattern, but none may be a prefix of another or repeat another.
 * @return as zebsVLCDecodeGetSize_32s, and zebStsVLCBadParams for codes that are prefixes of one
 * another (the state is then left without its tag). */
ZEBAPI ZebStatus zebsVLCDecodeInit_32s(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                       const Zeb32s* pSubTablesSizes, int numSubTables,
                                       ZebVLCDecodeState_32s* pState);

/* Allocates and builds a decoder state (nothing is kept when building fails).
 * @return as zebsVLCDecodeInit_32s; zebStsNullPtr for a failed allocation. */
ZEBAPI ZebStatus zebsVLCDecodeInitAlloc_32s(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                            const Zeb32s* pSubTablesSizes, int numSubTables,
                                            ZebVLCDecodeState_32s** ppState);

/* Clears the state's tag and releases it if InitAlloc made it. NULL is ignored. */
ZEBAPI void zebsVLCDecodeFree_32s(ZebVLCDecodeState_32s* pState);

/* Decodes one value at the bit position and advances it. Reads the bytes of the peek (see the
 * section's head).
 * @return zebStsNullPtr (any pointer, *ppBitStream included), zebStsVLCError (offset outside
 * 0..7, not a state, or bits that are no code of the table) or zebStsOk. */
ZEBAPI ZebStatus zebsVLCDecodeOne_1u16s(Zeb8u** ppBitStream, int* pBitOffset, Zeb16s* pDst,
                                        const ZebVLCDecodeState_32s* pState);

/* Decodes dstLen values as zebsVLCDecodeOne_1u16s does. When bits that are no code are met, the
 * values before them are in pDst and the call returns zebStsVLCError with the position unchanged.
 * @return zebStsNullPtr, zebStsVLCError (dstLen < 1, offset outside 0..7, not a state, no such
 * code) or zebStsOk. */
ZEBAPI ZebStatus zebsVLCDecodeBlock_1u16s(Zeb8u** ppBitStream, int* pBitOffset, Zeb16s* pDst,
                                          int dstLen, const ZebVLCDecodeState_32s* pState);

/* Size of an unsigned-tuple decoder state: table elements * width / 8 + 100 bytes, the table as
 * for zebsVLCDecodeGetSize_32s. Each record's value holds tupleSize magnitudes of elementBits
 * bits, packed most significant element first (bits above tupleSize * elementBits are ignored);
 * the element width is the narrowest that holds 1 + L + tupleSize * elementBits and 1 + the bits
 * of (elements + 1).
 * @return zebStsNullPtr, zebStsVLCError (inputTableSize < 1), zebStsTupleError (tupleSize or
 * elementBits below 1, checked before the table, or elements wider than 32 bits),
 * zebStsVLCBadParams (as zebsVLCDecodeGetSize_32s) or zebStsOk. */
ZEBAPI ZebStatus zebsVLCDecodeUTupleGetSize_32s(const ZebVLCCodeEntry* pInputTable,
                                                int inputTableSize, const Zeb32s* pSubTablesSizes,
                                                int numSubTables, int tupleSize, int elementBits,
                                                int* pSize);

/* Builds an unsigned-tuple decoder state in caller memory of the GetSize size.
 * @return as zebsVLCDecodeUTupleGetSize_32s, and zebStsVLCBadParams for codes that are prefixes
 * of one another. */
ZEBAPI ZebStatus zebsVLCDecodeUTupleInit_32s(const ZebVLCCodeEntry* pInputTable,
                                             int inputTableSize, const Zeb32s* pSubTablesSizes,
                                             int numSubTables, int tupleSize, int elementBits,
                                             ZebVLCDecodeUTupleState_32s* pState);

/* Allocates and builds an unsigned-tuple decoder state (nothing is kept when building fails).
 * @return as zebsVLCDecodeUTupleInit_32s; zebStsNullPtr for a failed allocation. */
ZEBAPI ZebStatus zebsVLCDecodeUTupleInitAlloc_32s(const ZebVLCCodeEntry* pInputTable,
                                                  int inputTableSize,
                                                  const Zeb32s* pSubTablesSizes, int numSubTables,
                                                  int tupleSize, int elementBits,
                                                  ZebVLCDecodeUTupleState_32s** ppState);

/* Clears the state's tag and releases it if InitAlloc made it. NULL is ignored. */
ZEBAPI void zebsVLCDecodeUTupleFree_32s(ZebVLCDecodeUTupleState_32s* pState);

/* Decodes one code and its sign bits into tupleSize values at pDst: after the code comes one
 * bit per non-zero magnitude, in element order, 1 for negative. Reads the bytes of the peek.
 * @return zebStsNullPtr, zebStsVLCError (offset outside 0..7, not a state, no such code) or
 * zebStsOk. */
ZEBAPI ZebStatus zebsVLCDecodeUTupleOne_1u16s(Zeb8u** ppBitStream, int* pBitOffset, Zeb16s* pDst,
                                              const ZebVLCDecodeUTupleState_32s* pState);

/* Decodes dstLen tuples (dstLen * tupleSize values) as zebsVLCDecodeUTupleOne_1u16s does; on
 * bits that are no code, as zebsVLCDecodeBlock_1u16s.
 * @return zebStsNullPtr, zebStsVLCError (dstLen < 1, offset outside 0..7, not a state, no such
 * code) or zebStsOk. */
ZEBAPI ZebStatus zebsVLCDecodeUTupleBlock_1u16s(Zeb8u** ppBitStream, int* pBitOffset, Zeb16s* pDst,
                                                int dstLen,
                                                const ZebVLCDecodeUTupleState_32s* pState);

#ifdef __cplusplus
}
#endif

#endif /* ZEBDC_H */
