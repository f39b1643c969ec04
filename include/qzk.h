/**
 * @file qzk.h
 * @brief Numeric primitives for speech and pattern recognition.
 *
 * Plain C functions over caller-owned arrays. Every result is defined to the last bit and is the same on
 * every processor and system.
 *
 * Names are `QZ`, one or two element type letters, `b` for a whole vector, the operation, and the form:
 *
 * | Letter | Element | C type |
 * |---|---|---|
 * | b | bit, 8 per byte, most significant first | `uint8_t` |
 * | n | nibble, 0 to 15, 2 per byte, high half first | `uint8_t` |
 * | y | unsigned 8-bit integer | `uint8_t` |
 * | t | signed 8-bit integer | `int8_t` |
 * | w | signed 16-bit integer | `int16_t` |
 * | i | signed 32-bit integer | `int32_t` |
 * | s | IEEE single | `float` |
 * | d | IEEE double | `double` |
 * | c | complex of two singles | #QZComplexFloat |
 * | v | complex of two 16-bit integers | #QZComplexShort |
 *
 * Form 2 works in place on its second vector, form 3 writes a separate destination, form 2s takes a scalar
 * and works in place.
 *
 * A bit vector starts at bit `bitOffset` of its first byte, counted from the least significant end: 7 is
 * the byte's first bit. A nibble vector starts in the high half of its first byte when `nibbleOffset` is 1
 * and in the low half when it is 0. Bits of the first and last byte outside the vector are never changed.
 *
 * Lengths count elements. A length of 0 or less does nothing unless a function says otherwise. Pointers are
 * not checked. Any alignment of any operand works.
 *
 * The library creates no threads and locks nothing: call it from one thread at a time.
 *
 * Results are those of the arithmetic that a process starts with: rounding to nearest, denormal numbers kept.
 * A client that sets MXCSR otherwise (compiling with fast-math does) gets what that asks for. The x87
 * precision may be anything: what needs extended precision sets it and restores the client's.
 *
 * Licence: Apache-2.0.
 */
#ifndef QZK_H
#define QZK_H

#include <stdint.h>

/** @cond */
#if defined(QZK_STATIC)
#define QZK_API
#elif defined(_WIN32)
#if defined(QZK_BUILDING)
#define QZK_API __declspec(dllexport)
#else
#define QZK_API __declspec(dllimport)
#endif
#else
#define QZK_API __attribute__((visibility("default")))
#endif
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/** Complex number of two singles, real part first (letter c). */
typedef struct {
    float re; /**< real part */
    float im; /**< imaginary part */
} QZComplexFloat;

/** Complex number of two 16-bit integers, real part first (letter v). */
typedef struct {
    int16_t re; /**< real part */
    int16_t im; /**< imaginary part */
} QZComplexShort;

/** Rectangle of an image. Rows and columns count from 0; both ends belong to it. */
typedef struct {
    int32_t leftTopRow;  /**< first row */
    int32_t leftTopCol;  /**< first column */
    int32_t rightBotRow; /**< last row */
    int32_t rightBotCol; /**< last column */
} QZCopyRegion;

/**
 * @name Scale modes
 * How an integer result is fitted to its element: `scaleMode` of the vector families and `doScale` of the
 * conversions.
 * @{
 */
#define QZ_ScaleWrap 0     /**< low bits of the exact result; the scale factor is set to 0 */
#define QZ_ScaleFixed 1    /**< the caller's scale factor k: result times 2^-k */
#define QZ_ScaleAuto 2     /**< a scale factor is found and stored */
#define QZ_ScaleSaturate 3 /**< clamped to the element's range; the scale factor is set to 0 */
/** @} */

/**
 * @defgroup error Error frame
 * Every failure is reported through QZError() to one handler: the console handler QZStdError() at first, the
 * message-box handler QZWinError(), or the client's own. A process-wide status holds the last error and stays
 * until the client clears it with QZSetStatus(). A function whose callee left a negative status adds a
 * #QZ_StsBackTrace record, so that one failure shows the chain of calls that led to it.
 * @{
 */

/**
 * @name Status codes
 * @{
 */
#define QZ_StsOk 0          /**< "No Error" */
#define QZ_StsBackTrace -1  /**< "Backtrace": a "called from" record, not an error */
#define QZ_StsError -2      /**< "Unknown error" */
#define QZ_StsInternal -3   /**< "Internal error (bad state)" */
#define QZ_StsNoMem -4      /**< "Out of memory" */
#define QZ_StsBadArg -5     /**< "Bad argument" */
#define QZ_StsBadFunc -6    /**< "Unsupported function" */
#define QZ_StsNoConv -7     /**< "Iteration convergence failed" */
#define QZ_StsAutoTrace -8  /**< "Autotrace call": a client's record whose message is an argument list */
#define QZ_StsOverflow -20  /**< "Overflow occured" */
#define QZ_StsUnderflow -21 /**< "Underflow occured" */
/** @} */

/**
 * @name Error modes
 * What the two handlers of the library do. Any other value works as #QZ_ErrorModeReport.
 * @{
 */
#define QZ_ErrorModeLeaf 0   /**< report, then terminate the process (console) or offer to (message box) */
#define QZ_ErrorModeReport 1 /**< report and return (initial mode) */
#define QZ_ErrorModeSilent 2 /**< only record the status */
/** @} */

/**
 * Receives every report. A client's handler records the status itself, with QZSetStatus().
 * @param status status code
 * @param funcName name of the reporting function, or null
 * @param message message, or null
 * @param file source file, or null
 * @param line source line
 * @return what QZError() is to return
 */
typedef int32_t (*QZErrorHandler)(int32_t status, const char *funcName, const char *message, const char *file,
                                  int32_t line);

/** @return the last recorded status; initially #QZ_StsOk */
QZK_API int32_t QZGetStatus(void);

/**
 * Stores the status; the only way to clear it.
 * @param status any value
 */
QZK_API void QZSetStatus(int32_t status);

/** @return the error mode; initially #QZ_ErrorModeReport */
QZK_API int32_t QZGetErrMode(void);

/**
 * Stores the error mode.
 * @param mode any value
 */
QZK_API void QZSetErrMode(int32_t mode);

/**
 * Calls the installed handler with the five arguments unchanged.
 * @param status status code
 * @param funcName name of the reporting function, or null
 * @param message message, or null
 * @param file source file, or null
 * @param line source line
 * @return the handler's result
 */
QZK_API int32_t QZError(int32_t status, const char *funcName, const char *message, const char *file,
                        int32_t line);

/**
 * Installs a handler.
 * @param handler the handler; null installs QZStdError()
 * @return the previous handler
 */
QZK_API QZErrorHandler QZRedirectError(QZErrorHandler handler);

/** Installs QZStdError(). @return the previous handler */
QZK_API QZErrorHandler QZSetStdError(void);

/** Installs QZWinError(). @return the previous handler */
QZK_API QZErrorHandler QZSetWinError(void);

/**
 * Text of a status code; for codes without one "Unknown error code %d" or "Unknown status code %d".
 * @param status status code
 * @return constant text, or for a code without one a static buffer that the next such call overwrites
 */
QZK_API const char *QZErrorStr(int32_t status);

/**
 * Console handler: writes the report to standard error and records the status, except that trace records (-1
 * and -8) leave it as it is. #QZ_ErrorModeLeaf then ends the process with exit code 1, running exit
 * handlers. #QZ_ErrorModeSilent writes nothing and records every code but -1.
 * @param status status code
 * @param funcName name of the reporting function; null shows as "<unknown>"
 * @param message message; null leaves the part out
 * @param file source file, or null
 * @param line source line; the place is shown if the line is positive or the file is not null
 * @return status
 */
QZK_API int32_t QZStdError(int32_t status, const char *funcName, const char *message, const char *file,
                           int32_t line);

/**
 * Message-box handler: shows the report with OK and Cancel; Cancel ends the process at once, without exit
 * handlers. #QZ_ErrorModeLeaf shows a second box that offers the same with Yes and No. Trace records (-1 and
 * -8) have boxes too, under the text of the status as it is; other codes are recorded as the status first.
 * #QZ_ErrorModeSilent shows nothing.
 *
 * Outside Windows the boxes are shown by `zenity`, `kdialog` or `xmessage`, the first on `PATH` that works,
 * where `DISPLAY` or `WAYLAND_DISPLAY` is set; otherwise the questions are asked on the controlling terminal.
 * Where there is none either, the texts go to standard error and the process goes on.
 * @param status status code
 * @param funcName name of the reporting function; null shows as "<unknown>"
 * @param message message, or null; the shown text is cut off at 999 characters
 * @param file source file, or null
 * @param line source line; a negative one shows as 0
 * @return status
 */
QZK_API int32_t QZWinError(int32_t status, const char *funcName, const char *message, const char *file,
                           int32_t line);
/** @} */

/**
 * @defgroup info Library and processor information
 * Nothing here reports anything.
 * @{
 */

/** Version of the library: 3.1.4. */
typedef struct {
    int32_t major; /**< 3 */
    int32_t minor; /**< 1 */
    int32_t build; /**< 4 */
} QZLibraryInfo;

/** What the processor says about itself. */
typedef struct {
    int32_t family;   /**< family, 0 to 15, or 55 for family 5 with MMX */
    int32_t model;    /**< model, 0 to 15; 0 for families below 4 */
    int32_t stepping; /**< stepping, 0 to 15; 0 for families below 4 */
    char name[36];    /**< description, ended by a zero byte */
} QZProcessorInfo;

/**
 * Module name of this variant of the library, the same on every system.
 * @return the constant text "qzkg1.dll", not to be changed or freed
 */
QZK_API const char *QZGetSpecificLibraryName(void);

/**
 * Version of the library.
 * @param info  receives the three numbers; not null
 * @return `info`
 */
QZK_API QZLibraryInfo *QZGetLibraryInfo(QZLibraryInfo *info);

/**
 * Describes the processor from its own identification, leaf 1 of the CPUID instruction, without the extended
 * family and model. The name is "<family> [model <model>, stepping <stepping>]" with "i486" for family 4,
 * "Pentium" for 5, "P55C" for 5 with MMX, "Pentium Pro" for 6, and no text before the blank for later
 * families. For those below 4 it is "i086/i088" (0), "" (1), "i286" (2) or "i386" (3) alone. A processor
 * without that instruction counts as family 1.
 * @param info  receives the description; not null
 */
QZK_API void QZGetProcessorInfo(QZProcessorInfo *info);
/** @} */

/**
 * @defgroup memory Memory of two-dimensional arrays
 * Two kinds of storage for matrices, images and sets of vectors; both are passed on as arrays of row
 * pointers.
 *
 * Bytes of a row of `len` elements: b `len / 8` and n `len / 2`, rounded up; y and t `len`; w `2 * len`;
 * i and s `4 * len`. Memory is not cleared. A size that is negative or beyond the address space counts as
 * a failed allocation.
 * @{
 */

/**
 * @name Arrays of separate rows
 * @{
 */
/**
 * A vector of `count` row pointers and one heap block (`malloc`) per row; the caller may replace or `free` a
 * single row. A count of 0 gives an empty vector, which has to be released too.
 *
 * On failure everything obtained is released, #QZ_StsNoMem is reported ("The pointers vector can not be
 * allocated" or "Current vector can not be allocated", for bits "Current float vector can not be allocated")
 * and the result is null.
 * @param count number of rows
 * @param len elements per row
 * @return the row pointers, to be released with any of the `QZ?Free2` functions and the same count; or null
 */
QZK_API uint8_t **QZbAlloc2(int32_t count, int32_t len);
QZK_API uint8_t **QZnAlloc2(int32_t count, int32_t len);
QZK_API uint8_t **QZyAlloc2(int32_t count, int32_t len);
QZK_API int8_t **QZtAlloc2(int32_t count, int32_t len);
QZK_API int16_t **QZwAlloc2(int32_t count, int32_t len);
QZK_API int32_t **QZiAlloc2(int32_t count, int32_t len);
QZK_API float **QZsAlloc2(int32_t count, int32_t len);
/** @} */

/**
 * @name Release of arrays of rows
 * @{
 */
/**
 * Frees the rows from the last to the first, skipping null ones, then the vector. All of them do the same.
 * @param array row pointers from any `QZ?Alloc2`
 * @param count number of rows; 0 or less frees the vector alone
 * @return 0
 */
QZK_API int32_t QZbFree2(uint8_t **array, int32_t count);
QZK_API int32_t QZnFree2(uint8_t **array, int32_t count);
QZK_API int32_t QZyFree2(uint8_t **array, int32_t count);
QZK_API int32_t QZtFree2(int8_t **array, int32_t count);
QZK_API int32_t QZwFree2(int16_t **array, int32_t count);
QZK_API int32_t QZiFree2(int32_t **array, int32_t count);
QZK_API int32_t QZsFree2(float **array, int32_t count);
QZK_API int32_t QZ_Free2(void **array, int32_t count);
/** @} */

/**
 * @name Tables
 * @{
 */
/**
 * A vector of `rows` row pointers into one contiguous block: row i stands i row sizes after row 0. The
 * block belongs to the table through row pointer 0 and must not be freed or moved. Do not use the row pointer
 * of a table without rows.
 *
 * On failure #QZ_StsNoMem is reported ("The pointers vector can not be allocated" or "2D array vector can
 * not be allocated") and the result is null. After the second of these the vector of pointers stays
 * allocated; for bytes (y) it is reported under the name `QZnAllocTable`.
 * @param rows number of rows
 * @param len elements per row
 * @return the row pointers, to be released with any of the `QZ?FreeTable` functions; or null
 */
QZK_API uint8_t **QZbAllocTable(int32_t rows, int32_t len);
QZK_API uint8_t **QZnAllocTable(int32_t rows, int32_t len);
QZK_API uint8_t **QZyAllocTable(int32_t rows, int32_t len);
QZK_API int8_t **QZtAllocTable(int32_t rows, int32_t len);
QZK_API int16_t **QZwAllocTable(int32_t rows, int32_t len);
QZK_API int32_t **QZiAllocTable(int32_t rows, int32_t len);
QZK_API float **QZsAllocTable(int32_t rows, int32_t len);
/** @} */

/**
 * @name Release of tables
 * @{
 */
/**
 * Frees the block, then the vector. All of them do the same.
 * @param table row pointers from any `QZ?AllocTable`, not null
 * @return 0
 */
QZK_API int32_t QZbFreeTable(uint8_t **table);
QZK_API int32_t QZnFreeTable(uint8_t **table);
QZK_API int32_t QZyFreeTable(uint8_t **table);
QZK_API int32_t QZtFreeTable(int8_t **table);
QZK_API int32_t QZwFreeTable(int16_t **table);
QZK_API int32_t QZiFreeTable(int32_t **table);
QZK_API int32_t QZsFreeTable(float **table);
QZK_API int32_t QZ_FreeTable(void **table);
/** @} */
/** @} */

/**
 * @defgroup arithmetic Element-wise arithmetic
 *
 * Sums, differences and products of vectors of nibbles (n), bytes (y, t), 16-bit words (w) and floats (s), in
 * three forms. Subtraction takes the first operand from the second:
 *
 * | Operation | Form 2 | Form 3 | Form 2s |
 * |---|---|---|---|
 * | Add | srcDst + src | src1 + src2 | srcDst + scalar |
 * | Sub | srcDst - src | src2 - src1 | srcDst - scalar |
 * | Mpy | srcDst * src | src1 * src2 | srcDst * scalar |
 *
 * Results of integers are exact, as 32-bit integers, before `scaleMode` fits them to their element:
 *
 * | `scaleMode` | Stored | `*scaleFactor` |
 * |---|---|---|
 * | #QZ_ScaleWrap | low bits of the result | set to 0 |
 * | #QZ_ScaleFixed | low bits of the result shifted by k | k, only read |
 * | #QZ_ScaleAuto | result shifted by the least k of 0 or more by which all results fit | set to k |
 * | any other value | result clamped to the range of the element | set to 0 |
 *
 * A shift by k goes to the right, or by -k bits to the left where k is negative.
 * Shifts are mathematical, whatever the count: 32 bits to the left leave 0, to the right the sign. They are
 * arithmetic, with one exception: products of 16-bit elements shift to the right as unsigned 32-bit values. A
 * difference of unsigned elements (y, n) has no automatic scale: #QZ_ScaleAuto saturates, a negative
 * difference giving 0. The automatic scale of sums and differences is 0 or 1, that of products at most the
 * width of the element.
 *
 * A length of 0 or less writes no element; `*scaleFactor` is set to 0 in every mode but #QZ_ScaleFixed.
 * Nothing here takes memory or reports anything.
 *
 * An operand may be the destination itself. Where operands overlap otherwise, results are computed and stored
 * one by one, from the last element to the first, with these additions for #QZ_ScaleAuto:
 *  - Sums and differences (t, w, and sums of y) are stored unscaled until the first one that does not fit.
 *    Then those stored are shifted by 1, and the rest, that one included, is computed and stored shifted
 * by 1.
 *  - Sums of nibbles are all examined before the first one is stored.
 *  - Products are stored from the first element to the last, up to and including the first that does not fit,
 *    of which the low bits are stored. The shift is found from that product and from the ones behind it, as
 *    memory then is. Then the elements before it are shifted, it is stored shifted, and those behind it are
 *    computed and stored shifted.
 * @{
 */

/**
 * @name Bytes and words in place
 * @{
 */
/**
 * The operation of two vectors, in place.
 * @param src  first operand
 * @param srcDst  second operand, replaced by the results
 * @param len  number of elements
 * @param scaleMode  how results are fitted, see above
 * @param scaleFactor  shift to the right, read or written as told above
 */
QZK_API void QZybAdd2(const uint8_t *src, uint8_t *srcDst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZtbAdd2(const int8_t *src, int8_t *srcDst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZwbAdd2(const int16_t *src, int16_t *srcDst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZybSub2(const uint8_t *src, uint8_t *srcDst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZtbSub2(const int8_t *src, int8_t *srcDst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZwbSub2(const int16_t *src, int16_t *srcDst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZybMpy2(const uint8_t *src, uint8_t *srcDst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZtbMpy2(const int8_t *src, int8_t *srcDst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZwbMpy2(const int16_t *src, int16_t *srcDst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
/** @} */

/**
 * @name Bytes and words
 * @{
 */
/**
 * The operation of two vectors.
 * @param src1  first operand
 * @param src2  second operand
 * @param dst  receives the results
 * @param len  number of elements
 * @param scaleMode  how results are fitted, see above
 * @param scaleFactor  shift to the right, read or written as told above
 */
QZK_API void QZybAdd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZtbAdd3(const int8_t *src1, const int8_t *src2, int8_t *dst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZwbAdd3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZybSub3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZtbSub3(const int8_t *src1, const int8_t *src2, int8_t *dst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZwbSub3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZybMpy3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZtbMpy3(const int8_t *src1, const int8_t *src2, int8_t *dst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
QZK_API void QZwbMpy3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len, int32_t scaleMode,
                      int32_t *scaleFactor);
/** @} */

/**
 * @name Bytes and words with a scalar
 * @{
 */
/**
 * The operation of a scalar and a vector, in place.
 * @param scalar  first operand of every element
 * @param srcDst  second operand, replaced by the results
 * @param len  number of elements
 * @param scaleMode  how results are fitted, see above
 * @param scaleFactor  shift to the right, read or written as told above
 */
QZK_API void QZybAdd2s(uint8_t scalar, uint8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZtbAdd2s(int8_t scalar, int8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZwbAdd2s(int16_t scalar, int16_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZybSub2s(uint8_t scalar, uint8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZtbSub2s(int8_t scalar, int8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZwbSub2s(int16_t scalar, int16_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZybMpy2s(uint8_t scalar, uint8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZtbMpy2s(int8_t scalar, int8_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZwbMpy2s(int16_t scalar, int16_t *srcDst, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
/** @} */

/**
 * @name Nibbles in place
 * @{
 */
/**
 * The operation of two vectors of nibbles, in place. A nibble that shares a byte with the results but is none
 * of them keeps its value.
 * @param src  first byte of the first operand
 * @param srcDst  first byte of the second operand, which is replaced by the results
 * @param srcNibbleOffset  0: `src` begins in the low half of the first byte, otherwise in the high half
 * @param dstNibbleOffset  0: `srcDst` begins in the low half of the first byte, otherwise in the high half
 * @param len  number of nibbles
 * @param scaleMode  how results are fitted, see above
 * @param scaleFactor  shift to the right, read or written as told above
 */
QZK_API void QZnbAdd2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
                      int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZnbSub2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
                      int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZnbMpy2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
                      int32_t len, int32_t scaleMode, int32_t *scaleFactor);
/** @} */

/**
 * @name Nibbles
 * @{
 */
/**
 * The operation of two vectors of nibbles. A nibble that shares a byte with the results but is none of them
 * keeps its value.
 * @param src1  first byte of the first operand
 * @param src2  first byte of the second operand
 * @param dst  first byte of the results
 * @param srcNibbleOffset  0: both operands begin in the low half of the first byte, otherwise in the high
 * half
 * @param dstNibbleOffset  0: the results begin in the low half of the first byte, otherwise in the high half
 * @param len  number of nibbles
 * @param scaleMode  how results are fitted, see above
 * @param scaleFactor  shift to the right, read or written as told above
 */
QZK_API void QZnbAdd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
                      int32_t dstNibbleOffset, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZnbSub3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
                      int32_t dstNibbleOffset, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
QZK_API void QZnbMpy3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
                      int32_t dstNibbleOffset, int32_t len, int32_t scaleMode, int32_t *scaleFactor);
/** @} */

/**
 * @name Nibbles with a scalar
 * @{
 */
/**
 * The operation of a scalar and a vector of nibbles, in place. A nibble that shares a byte with the results
 * but is none of them keeps its value.
 * @param scalar  its low four bits are the first operand of every element
 * @param srcDst  first byte of the second operand, which is replaced by the results
 * @param nibbleOffset  0: `srcDst` begins in the low half of the first byte, otherwise in the high half
 * @param len  number of nibbles
 * @param scaleMode  how results are fitted, see above
 * @param scaleFactor  shift to the right, read or written as told above
 */
QZK_API void QZnbAdd2s(uint8_t scalar, uint8_t *srcDst, int32_t nibbleOffset, int32_t len, int32_t scaleMode,
                       int32_t *scaleFactor);
QZK_API void QZnbSub2s(uint8_t scalar, uint8_t *srcDst, int32_t nibbleOffset, int32_t len, int32_t scaleMode,
                       int32_t *scaleFactor);
QZK_API void QZnbMpy2s(uint8_t scalar, uint8_t *srcDst, int32_t nibbleOffset, int32_t len, int32_t scaleMode,
                       int32_t *scaleFactor);
/** @} */

/**
 * @name Floats in place
 * @{
 */
/**
 * The operation of two vectors in IEEE single precision, in place.
 * @param src  first operand
 * @param srcDst  second operand, replaced by the results
 * @param len  number of elements
 */
QZK_API void QZsbAdd2(const float *src, float *srcDst, int32_t len);
QZK_API void QZsbSub2(const float *src, float *srcDst, int32_t len);
QZK_API void QZsbMpy2(const float *src, float *srcDst, int32_t len);
/** @} */

/**
 * @name Floats
 * @{
 */
/**
 * The operation of two vectors in IEEE single precision.
 * @param src1  first operand
 * @param src2  second operand
 * @param dst  receives the results
 * @param len  number of elements
 */
QZK_API void QZsbAdd3(const float *src1, const float *src2, float *dst, int32_t len);
QZK_API void QZsbSub3(const float *src1, const float *src2, float *dst, int32_t len);
QZK_API void QZsbMpy3(const float *src1, const float *src2, float *dst, int32_t len);
/** @} */

/**
 * @name Floats with a scalar
 * @{
 */
/**
 * The operation of a scalar and a vector in IEEE single precision, in place.
 * @param scalar  first operand of every element
 * @param srcDst  second operand, replaced by the results
 * @param len  number of elements
 */
QZK_API void QZsbAdd2s(float scalar, float *srcDst, int32_t len);
QZK_API void QZsbSub2s(float scalar, float *srcDst, int32_t len);
QZK_API void QZsbMpy2s(float scalar, float *srcDst, int32_t len);
/** @} */
/** @} */

/**
 * @defgroup abs_shift Magnitudes and shifts
 *
 * Magnitudes of signed elements and shifts of all elements by one count. Elements are taken from the last to
 * the first, which shows where a source and a separate destination overlap. Nothing here takes memory or
 * reports anything.
 * @{
 */

/**
 * @name Magnitudes in place
 * @{
 */
/**
 * Replaces every element by its magnitude. The lowest integer, -128 or -32768, has none and stays. Of a float
 * the sign bit is cleared and nothing else: not-a-numbers keep their payload.
 * @param srcDst  elements
 * @param len  number of elements; 0 or less does nothing
 */
QZK_API void QZtbAbs(int8_t *srcDst, int32_t len);
QZK_API void QZwbAbs(int16_t *srcDst, int32_t len);
QZK_API void QZsbAbs(float *srcDst, int32_t len);
/** @} */

/**
 * @name Magnitudes of integers
 * @{
 */
/**
 * Stores the magnitude of every element. The lowest integer, -128 or -32768, has none and is stored itself.
 * @param src  elements
 * @param dst  receives the magnitudes
 * @param len  number of elements. With 0 or less, element 0 is still read and its magnitude stored.
 */
QZK_API void QZtbAbs2(const int8_t *src, int8_t *dst, int32_t len);
QZK_API void QZwbAbs2(const int16_t *src, int16_t *dst, int32_t len);
/** @} */

/**
 * Stores every element with its sign bit cleared and nothing else changed: not-a-numbers keep their payload.
 * @param src  elements
 * @param dst  receives the magnitudes
 * @param len  number of elements; 0 or less does nothing
 */
QZK_API void QZsbAbs2(const float *src, float *dst, int32_t len);

/**
 * @name Shifts
 * @{
 */
/**
 * Shifts every element to the left (L) or to the right (R). Bits that leave an element are lost; zeros come
 * in, but copies of the sign in shifts of signed elements (t, w) to the right.
 * @param srcDst  elements
 * @param len  number of elements; 0 or less does nothing
 * @param shift  number of bits, of which the low five bits count: 0 to 31
 */
QZK_API void QZybShiftL(uint8_t *srcDst, int32_t len, uint8_t shift);
QZK_API void QZtbShiftL(int8_t *srcDst, int32_t len, uint8_t shift);
QZK_API void QZwbShiftL(int16_t *srcDst, int32_t len, uint8_t shift);
QZK_API void QZybShiftR(uint8_t *srcDst, int32_t len, uint8_t shift);
QZK_API void QZtbShiftR(int8_t *srcDst, int32_t len, uint8_t shift);
QZK_API void QZwbShiftR(int16_t *srcDst, int32_t len, uint8_t shift);
/** @} */

/**
 * @name Shifts of nibbles
 * @{
 */
/**
 * Shifts every nibble within its own four bits to the left (L) or to the right (R), zeros coming in. A nibble
 * that shares a byte with the vector but is not part of it keeps its value.
 * @param srcDst  first byte of the vector
 * @param nibbleOffset  0: the vector begins in the low half of the first byte, otherwise in the high half
 * @param len  number of nibbles; 0 or less does nothing
 * @param shift  number of bits, of which the low five bits count: 0 to 31
 */
QZK_API void QZnbShiftL(uint8_t *srcDst, int32_t nibbleOffset, int32_t len, uint8_t shift);
QZK_API void QZnbShiftR(uint8_t *srcDst, int32_t nibbleOffset, int32_t len, uint8_t shift);
/** @} */
/** @} */

/**
 * @defgroup reduction Minima, maxima and sums
 *
 * Reductions of one vector to one number. Vectors are only read; nothing here takes memory or reports
 * anything.
 * @{
 */

/**
 * @name Minima and maxima
 * @{
 */
/**
 * The smallest (Min) or largest (Max) element and its place; of equal ones the first. Floats compare by their
 * bits: any with the sign set is below any without, then the magnitude counts, so that -0 is below 0 and a
 * not-a-number lies beyond the infinity of its sign.
 * @param src  elements
 * @param len  number of elements; with 0 or less, element 0 is still read and returned
 * @param index  receives the element's place, counted from 0; not null
 * @return the element
 */
QZK_API uint8_t QZyMin(const uint8_t *src, int32_t len, int32_t *index);
QZK_API int8_t QZtMin(const int8_t *src, int32_t len, int32_t *index);
QZK_API int16_t QZwMin(const int16_t *src, int32_t len, int32_t *index);
QZK_API float QZsMin(const float *src, int32_t len, int32_t *index);
QZK_API uint8_t QZyMax(const uint8_t *src, int32_t len, int32_t *index);
QZK_API int8_t QZtMax(const int8_t *src, int32_t len, int32_t *index);
QZK_API int16_t QZwMax(const int16_t *src, int32_t len, int32_t *index);
QZK_API float QZsMax(const float *src, int32_t len, int32_t *index);
/** @} */

/**
 * @name Minima and maxima of nibbles
 * @{
 */
/**
 * The smallest (Min) or largest (Max) nibble and its place; of equal ones the first.
 * @param src  first byte of the vector
 * @param nibbleOffset  lowest bit 0: the vector begins in the low half of the first byte, 1: in the high half
 * @param len  number of nibbles; with 0 or less, nibble 0 is still read and returned
 * @param index  receives the nibble's place, counted from 0 at the vector's first nibble; not null
 * @return the nibble, 0 to 15
 */
QZK_API uint8_t QZnMin(const uint8_t *src, int32_t nibbleOffset, int32_t len, int32_t *index);
QZK_API uint8_t QZnMax(const uint8_t *src, int32_t nibbleOffset, int32_t len, int32_t *index);
/** @} */

/**
 * Number of bits that are 1.
 * @param src  first byte of the vector
 * @param bitOffset  place of the first bit in the first byte, 7 (highest) to 0; the low three bits count
 * @param len  number of bits; 0 or less counts nothing
 * @param scaleMode  #QZ_ScaleFixed: the number times 2^-`*scaleFactor`, rounded down, low 32 bits; any other:
 *                   the number
 * @param scaleFactor  read by #QZ_ScaleFixed, set to 0 by any other mode; not null
 * @return the number of bits
 */
QZK_API int32_t QZbSum(const uint8_t *src, int32_t bitOffset, int32_t len, int32_t scaleMode,
                       int32_t *scaleFactor);

/**
 * Sum of nibbles, modulo 2^32.
 * @param src  first byte of the vector
 * @param nibbleOffset  0: the vector begins in the low half of the first byte, otherwise in the high half
 * @param len  number of nibbles; 0 or less gives 0
 * @param scaleMode  #QZ_ScaleFixed: the sum times 2^-`*scaleFactor`, rounded down, low 32 bits; any other:
 *                   the sum
 * @param scaleFactor  read by #QZ_ScaleFixed, set to 0 by any other mode; not null
 * @return the sum
 */
QZK_API uint32_t QZnSum(const uint8_t *src, int32_t nibbleOffset, int32_t len, int32_t scaleMode,
                        int32_t *scaleFactor);

/**
 * Sum of unsigned bytes, modulo 2^32.
 * @param src  elements
 * @param len  number of elements; 0 or less gives 0
 * @param scaleMode  #QZ_ScaleWrap: the sum; #QZ_ScaleFixed: the sum times 2^-`*scaleFactor`, rounded down,
 *                   low 32 bits; #QZ_ScaleSaturate: the sum, but at most 2147483647; any other: shifted to
 *                   the right, rounded down, until it is at most 2147483647
 * @param scaleFactor  read by #QZ_ScaleFixed; set to the number of shifts by the searching modes, else to 0;
 *                     not null
 * @return the sum
 */
QZK_API uint32_t QZySum(const uint8_t *src, int32_t len, int32_t scaleMode, int32_t *scaleFactor);

/**
 * Sum of signed bytes: the low 32 bits as a signed number.
 * @param src  elements
 * @param len  number of elements; 0 or less gives 0
 * @param scaleMode  #QZ_ScaleFixed: the sum times 2^-`*scaleFactor`, rounded down, low 32 bits; any other:
 *                   the sum
 * @param scaleFactor  read by #QZ_ScaleFixed, set to 0 by any other mode; not null
 * @return the sum
 */
QZK_API int32_t QZtSum(const int8_t *src, int32_t len, int32_t scaleMode, int32_t *scaleFactor);

/**
 * Sum of 16-bit words. It is exact before `scaleMode` fits it to 32 bits.
 * @param src  elements
 * @param len  number of elements; 0 or less gives 0
 * @param scaleMode  #QZ_ScaleWrap: the low 32 bits; #QZ_ScaleFixed: the sum times 2^-`*scaleFactor`, rounded
 *                   down, low 32 bits; #QZ_ScaleSaturate: clamped; any other: shifted to the right, rounded
 *                   down, by the smallest number of bits that makes it fit
 * @param scaleFactor  read by #QZ_ScaleFixed; set to the number of bits by the searching modes, else to 0;
 *                     not null
 * @return the sum
 */
QZK_API int32_t QZwSum(const int16_t *src, int32_t len, int32_t scaleMode, int32_t *scaleFactor);

/**
 * Sum of floats in double precision, rounded to float at the end. From the end of the vector, groups of four
 * elements add to four sums, one for each place in the group, starting at 0. These four add up from the first
 * place to the last; the elements left over at the start follow from the last to the first.
 * @param src  elements
 * @param len  number of elements; 0 or less gives 0
 * @return the sum
 */
QZK_API float QZsSum(const float *src, int32_t len);
/** @} */

/**
 * @defgroup distance Dot products, norms and distances
 *
 * Reductions of two vectors to one number, with d[i] = src1[i] - src2[i]. Terms and sums are double; floats
 * are widened before they are subtracted or multiplied, differences of 16-bit integers are exact. Sums run
 * from the first element to the last, those of QZwDotP(), QZwL1Norm() and QZwL2Norm() from the last to the
 * first: for sums that are not exact this shows in the last bits.
 *
 * The 16-bit members convert the double result, after the square root if there is one, with QZdiConvertDown()
 * and return what it returns; only it reports. Vectors are only read. A length of 0 or less gives 0.
 * @{
 */

/**
 * @brief Dot product: sum of src1[i] src2[i].
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param len length of the vectors
 * @return the sum
 */
QZK_API double QZsDotP(const float *src1, const float *src2, int32_t len);

/**
 * @brief City-block (L1) distance: sum of |d[i]|.
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param len length of the vectors
 * @return the sum
 */
QZK_API double QZsL1Norm(const float *src1, const float *src2, int32_t len);

/**
 * @brief Euclidean distance: sum of d[i]^2, or its square root.
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param len length of the vectors
 * @param doSqrt other than 0: the square root of the sum
 * @return the sum or its root
 */
QZK_API double QZsL2Norm(const float *src1, const float *src2, int32_t len, int32_t doSqrt);

/**
 * @brief Mahalanobis distance with a diagonal weight matrix: sum of diag[i] d[i]^2, or its square root.
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param diag diagonal of the matrix, usually inverse variances: `len` elements
 * @param len length of the vectors
 * @param doSqrt other than 0: the square root of the sum
 * @return the sum or its root
 */
QZK_API double QZsMahalanobisD(const float *src1, const float *src2, const float *diag, int32_t len,
                               int32_t doSqrt);

/**
 * @brief Mahalanobis distance with a symmetric weight matrix: 2 times the sum of d[j] rows[i][j] d[i] over
 * j < i, row by row, plus the sum of rows[i][i] d[i] d[i]; or its square root.
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param rows the matrix, usually an inverse covariance, as `len` row pointers; of row i only the elements 0
 *             to i are read
 * @param len length of the vectors
 * @param doSqrt other than 0: the square root of the sum
 * @return the sum or its root
 */
QZK_API double QZsMahalanobis(const float *src1, const float *src2, const float *const *rows, int32_t len,
                              int32_t doSqrt);

/**
 * @brief Dot product of 16-bit vectors: sum of src1[i] src2[i].
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param len length of the vectors
 * @param doScale scale mode of QZdiConvertDown()
 * @param scaleFactor scale factor of QZdiConvertDown()
 * @return the converted sum
 */
QZK_API int32_t QZwDotP(const int16_t *src1, const int16_t *src2, int32_t len, int32_t doScale,
                        int32_t *scaleFactor);

/**
 * @brief City-block (L1) distance of 16-bit vectors: sum of |d[i]|.
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param len length of the vectors
 * @param doScale scale mode of QZdiConvertDown()
 * @param scaleFactor scale factor of QZdiConvertDown()
 * @return the converted sum
 */
QZK_API int32_t QZwL1Norm(const int16_t *src1, const int16_t *src2, int32_t len, int32_t doScale,
                          int32_t *scaleFactor);

/**
 * @brief Euclidean distance of 16-bit vectors: sum of d[i]^2, or its square root.
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param len length of the vectors
 * @param doSqrt other than 0: the square root of the sum
 * @param doScale scale mode of QZdiConvertDown()
 * @param scaleFactor scale factor of QZdiConvertDown()
 * @return the converted sum or root
 */
QZK_API int32_t QZwL2Norm(const int16_t *src1, const int16_t *src2, int32_t len, int32_t doSqrt,
                          int32_t doScale, int32_t *scaleFactor);

/**
 * @brief Mahalanobis distance of 16-bit vectors with a diagonal weight matrix: sum of diag[i] d[i]^2, or its
 * square root.
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param diag diagonal of the matrix: `len` elements
 * @param len length of the vectors
 * @param doSqrt other than 0: the square root of the sum
 * @param doScale scale mode of QZdiConvertDown()
 * @param scaleFactor scale factor of QZdiConvertDown()
 * @return the converted sum or root
 */
QZK_API int32_t QZwMahalanobisD(const int16_t *src1, const int16_t *src2, const int16_t *diag, int32_t len,
                                int32_t doSqrt, int32_t doScale, int32_t *scaleFactor);

/**
 * @brief Mahalanobis distance of 16-bit vectors with a symmetric weight matrix: the sums of QZsMahalanobis().
 * @param src1 `len` elements
 * @param src2 `len` elements
 * @param rows the matrix as `len` row pointers; of row i only the elements 0 to i are read
 * @param len length of the vectors
 * @param doSqrt other than 0: the square root of the sum
 * @param doScale scale mode of QZdiConvertDown()
 * @param scaleFactor scale factor of QZdiConvertDown()
 * @return the converted sum or root
 */
QZK_API int32_t QZwMahalanobis(const int16_t *src1, const int16_t *src2, const int16_t *const *rows,
                               int32_t len, int32_t doSqrt, int32_t doScale, int32_t *scaleFactor);
/** @} */

/**
 * @defgroup power2 Powers of two
 * @{
 */

/**
 * 2^n. From -64 to 64 it is the decimal number of 15 significant digits next to the power, as a double: exact
 * from -21 to 49. Three are not the next one, 5.76460752303424e17 (2^59), 9.31322574615478e-10 (2^-30) and
 * 1.45519152283668e-11 (2^-36), and 2^-22, halfway between two, is the lower. Beyond these it is exact where
 * there is such a double, infinite above and 0 below. Nothing is reported.
 * @param n  any exponent
 * @return the power
 */
QZK_API double QZPower2(int32_t n);
/** @} */

/**
 * @defgroup conversion Conversions
 *
 * Between reals and integers with a power-of-two scale, and from complex to real.
 *
 * A scale factor k means integer = value * 2^-k: the data were divided by 2^k when k is positive and
 * multiplied by 2^-k when it is negative. To undo a conversion down that stored k, convert up with -k. |k| is
 * at most 64; a larger one given by the caller is taken as far as 2^-k is a normal double.
 *
 * Where source and destination overlap, the results are those of single elements, each read before it is
 * written: down and complex from the first to the last, up from the last to the first. So all vector
 * functions work with `dst` at the address of `src`.
 * @{
 */

/**
 * @name Reals to integers
 * @{
 */
/**
 * Convert a vector of reals to 16-bit or 32-bit integers. Values are truncated toward zero, not rounded,
 * after an exact product with 2^-k.
 *
 * | `doScale` | k | Result |
 * |---|---|---|
 * | #QZ_ScaleWrap | 0 | low 16 or 32 bits of the truncated value |
 * | #QZ_ScaleFixed | `*scaleFactor` | the same of the scaled value |
 * | #QZ_ScaleAuto | found as below | the same of the scaled value |
 * | #QZ_ScaleSaturate | 0 | the truncated value clamped to the integer's range |
 *
 * Without saturation, infinities, not-a-numbers and what a 64-bit integer cannot hold become 0. With it, a
 * not-a-number becomes the end of the range that its sign tells.
 *
 * The automatic factor is the least k that keeps one deciding magnitude v below a limit L, v * 2^-k < L, so
 * that the data fill the range; L is the largest integer when a maximum decides and the magnitude of the
 * lowest when a minimum does. Out of range, the larger magnitude decides; within it, the maximum or the
 * minimum that is nearer to its end of the range, the maximum when both are, but none that is 0. A maximum or
 * minimum that is exactly at its end, or only zeros, give k = 0. A not-a-number counts as the first element
 * only, and finds no factor. Two things are kept for the clients that rely on them: no factor beyond 63 is
 * found, so that magnitudes below some 2^-49 (16 bits) or 2^-33 (32 bits) are refused; and so are vectors of
 * negative numbers that are all next to zero, minimum + maximum >= -1, as their maximum decides.
 *
 * Reported, with `dst` and `*scaleFactor` left as they are: #QZ_StsBadArg "Unknown value %3d for doScale";
 * #QZ_StsNoConv "Unscalable range [%16.8e %16.8e] too large in input vector" for magnitudes from
 * 6.044444630632e23 (16 bits) or 3.961408123869e28 (32 bits) on; #QZ_StsNoConv "Internal Error, Binary Search
 * could not find a scaling factor". The messages stand in one buffer that the next one overwrites.
 *
 * @param src `len` reals of any value
 * @param[out] dst `len` integers
 * @param len number of elements; 0 or less converts nothing and stores the factor 0, but for #QZ_ScaleFixed
 * @param doScale one of the scale modes
 * @param[in,out] scaleFactor k: read by #QZ_ScaleFixed, stored by the other modes
 * @return 0, or what the error handler returned
 */
QZK_API int32_t QZswbConvertDown(const float *src, int16_t *dst, int32_t len, int32_t doScale,
                                 int32_t *scaleFactor);
QZK_API int32_t QZsibConvertDown(const float *src, int32_t *dst, int32_t len, int32_t doScale,
                                 int32_t *scaleFactor);
QZK_API int32_t QZdwbConvertDown(const double *src, int16_t *dst, int32_t len, int32_t doScale,
                                 int32_t *scaleFactor);
QZK_API int32_t QZdibConvertDown(const double *src, int32_t *dst, int32_t len, int32_t doScale,
                                 int32_t *scaleFactor);
/** @} */

/**
 * @name Single reals to integers
 * @{
 */
/**
 * Convert one real as QZswbConvertDown() does a vector. The automatic factor is the least k for which
 * |`value`| * 2^-k is below the end of the range on the value's side.
 *
 * Reports are those of the vector form, with the message "Unscalable value %16.8e, magnitude too large".
 *
 * @param value any real
 * @param doScale one of the scale modes
 * @param[in,out] scaleFactor k: read by #QZ_ScaleFixed, stored by the other modes
 * @return the integer, with its sign also in the 16-bit forms; after a report, what the error handler
 * returned with the low 16 bits cleared
 */
QZK_API int32_t QZswConvertDown(float value, int32_t doScale, int32_t *scaleFactor);
QZK_API int32_t QZsiConvertDown(float value, int32_t doScale, int32_t *scaleFactor);
QZK_API int32_t QZdwConvertDown(double value, int32_t doScale, int32_t *scaleFactor);
QZK_API int32_t QZdiConvertDown(double value, int32_t doScale, int32_t *scaleFactor);
/** @} */

/**
 * @name Integers to reals
 * @{
 */
/**
 * Convert a vector of integers to reals: src[i] * 2^-`scale`, formed in double and rounded once to the
 * destination's type. Nothing is reported.
 *
 * @param src `len` integers
 * @param[out] dst `len` reals; may start at the address of `src`
 * @param len number of elements; 0 or less does nothing
 * @param scale k, 0 for the plain values
 */
QZK_API void QZwsbConvertUp(const int16_t *src, float *dst, int32_t len, int32_t scale);
QZK_API void QZwdbConvertUp(const int16_t *src, double *dst, int32_t len, int32_t scale);
QZK_API void QZisbConvertUp(const int32_t *src, float *dst, int32_t len, int32_t scale);
QZK_API void QZidbConvertUp(const int32_t *src, double *dst, int32_t len, int32_t scale);
/** @} */

/**
 * @name Single integers to reals
 * @{
 */
/**
 * Convert one integer to a real: `value` * 2^-`scale`, formed in double and rounded once to the result's
 * type.
 *
 * @param value any integer
 * @param scale k, 0 for the plain value
 * @return the real
 */
QZK_API float QZwsConvertUp(int16_t value, int32_t scale);
QZK_API double QZwdConvertUp(int16_t value, int32_t scale);
QZK_API float QZisConvertUp(int32_t value, int32_t scale);
QZK_API double QZidConvertUp(int32_t value, int32_t scale);
/** @} */

/**
 * Reduces a complex vector to a real one. With x = re^2 + im^2 in double, which squares of floats never
 * leave:
 *
 * | `flags` | Result, rounded to float |
 * |---|---|
 * | 1 | magnitude: the square root of x in double |
 * | 1 + 4 | log10(x) / 2, the decimal logarithm of the magnitude, rounded once |
 * | 2 | power: x |
 * | 2 + 4 | log10(x), rounded once |
 *
 * With 1, 2 is ignored; so are other bits. The logarithm of 0 is minus infinity, without a report.
 *
 * Neither 1 nor 2 is reported with #QZ_StsBadArg "Bad flags", and nothing is written.
 *
 * @param src `len` complex numbers of any value
 * @param[out] dst `len` floats; may start at the address of `src`
 * @param len number of elements; 0 or less writes nothing
 * @param flags sum of the values above
 */
QZK_API void QZcsbConvert(const QZComplexFloat *src, float *dst, int32_t len, int32_t flags);

/**
 * Reduces a complex vector of 16-bit integers to a real one: widened to float, reduced as by QZcsbConvert()
 * and converted as by QZswbConvertDown(), each with its reports. Flags that QZcsbConvert() rejects give
 * zeros.
 *
 * Two buffers of `len` elements are taken for the call. Without memory for them, #QZ_StsNoMem is reported
 * ("insufficiency of memory for pointer  tmpin" or "...tmpout") and nothing is written.
 *
 * @param src `len` complex numbers
 * @param[out] dst `len` integers; may overlap `src` in any way
 * @param len number of elements; 0 or less writes no element
 * @param flags as for QZcsbConvert()
 * @param doScale one of the scale modes
 * @param[in,out] scaleFactor k: read by #QZ_ScaleFixed, stored by the other modes
 */
QZK_API void QZvwbConvert(const QZComplexShort *src, int16_t *dst, int32_t len, int32_t flags,
                          int32_t doScale, int32_t *scaleFactor);
/** @} */

/**
 * @defgroup fft Fourier transforms
 *
 * Transforms of n = 2^order points, in place or from a source to a destination, with
 * X[k] = sum over j of x[j] e^(-2 pi i jk/n) forward and e^(+2 pi i jk/n) inverse: the Cooley-Tukey
 * algorithm in radix 4, decimation in frequency (Oppenheim and Schafer, Discrete-Time Signal Processing).
 * Data and tables are singles; each pass computes in double and rounds its results once to single.
 *
 * `flags` is #QZ_FORWARD or #QZ_INVERSE, with #QZ_NOSCALE if wanted. Both directions at once, or none, are
 * reported with #QZ_StsBadArg and the data are left as they are.
 *
 * The packed spectrum of n real samples is n floats: X[0], X[n/2], then real and imaginary part of
 * X[1] ... X[n/2 - 1]. The other half is the conjugate of this one.
 *
 * Tables are built by the first transform of an order and kept until QZFreeFftTbls(). A transform for whose
 * table there is no memory, or whose order is not in 0 ... 32, reports #QZ_StsNoMem; a table of twiddle
 * factors that cannot be had leaves the data as they are, a table of reversed indexes leaves them undefined.
 * A negative status word left by an earlier failure is reported as a back-trace after the tables were
 * fetched, and unless the error handler answers 0 the transform stops there.
 * @{
 */

#define QZ_FORWARD 1 /**< kernel e^(-2 pi i jk/n) */
#define QZ_INVERSE 2 /**< kernel e^(+2 pi i jk/n), result multiplied by 1/n */
#define QZ_NOSCALE 8 /**< with #QZ_INVERSE: without the factor 1/n */

/**
 * @brief Complex transform in place.
 *
 * Order 0 changes nothing, whatever the flags.
 *
 * @param data 2^order points; their transform on return
 * @param order base-2 logarithm of the number of points
 * @param flags direction and scaling
 */
QZK_API void QZcFft(QZComplexFloat *data, int32_t order, int32_t flags);

/**
 * @brief Complex transform into a destination: QZsbCopy(), then QZcFft() there.
 *
 * Order 0 copies the one point.
 *
 * @param src 2^order points
 * @param dst room for 2^order points: their transform
 * @param order base-2 logarithm of the number of points
 * @param flags direction and scaling
 */
QZK_API void QZcFftNip(const QZComplexFloat *src, QZComplexFloat *dst, int32_t order, int32_t flags);

/**
 * @brief Packed spectrum of real samples, in place.
 *
 * Order 0 changes nothing, whatever the flags. #QZ_INVERSE gives the spectrum with the inverse kernel, times
 * 1/n; the way back from a forward spectrum is QZsCcsFft(). Computed as the complex transform of n/2 points
 * and a pass that splits it into the spectra of the even and the odd samples.
 *
 * @param data 2^order samples; their packed spectrum on return
 * @param order base-2 logarithm of the number of samples
 * @param flags direction and scaling
 */
QZK_API void QZsRealFft(float *data, int32_t order, int32_t flags);

/**
 * @brief Packed spectrum of real samples into a destination: QZsbCopy(), then QZsRealFft() there.
 *
 * Order 0 copies the one sample.
 *
 * @param src 2^order samples
 * @param dst room for 2^order floats: the packed spectrum
 * @param order base-2 logarithm of the number of samples
 * @param flags direction and scaling
 */
QZK_API void QZsRealFftNip(const float *src, float *dst, int32_t order, int32_t flags);

/**
 * @brief Real samples of a packed spectrum, in place.
 *
 * #QZ_INVERSE undoes QZsRealFft() forward. #QZ_FORWARD is the sum with the forward kernel, without a factor.
 * Order 0 changes nothing, whatever the flags.
 *
 * @param data packed spectrum of 2^order floats; the samples in natural order on return
 * @param order base-2 logarithm of the number of samples
 * @param flags direction and scaling
 */
QZK_API void QZsCcsFft(float *data, int32_t order, int32_t flags);

/**
 * @brief Real samples of a packed spectrum into a destination: QZsbCopy(), then QZsCcsFft() there.
 *
 * Order 0 copies the one float.
 *
 * @param src packed spectrum of 2^order floats
 * @param dst room for 2^order floats: the samples
 * @param order base-2 logarithm of the number of samples
 * @param flags direction and scaling
 */
QZK_API void QZsCcsFftNip(const float *src, float *dst, int32_t order, int32_t flags);

/**
 * @name Transforms of 16-bit data
 *
 * The data are widened to singles in a work buffer, transformed there as by QZcFft(), QZsRealFft() or
 * QZsCcsFft(), and narrowed as by QZswbConvertDown() with `doScale` and `scaleFactor`: integer = value *
 * 2^-k. The buffer grows to the largest transform and is kept until QZFreeFftTbls().
 *
 * Order 0 and below changes nothing, whatever the flags; the forms with a destination copy one element then.
 * Every failure leaves the data as they are (those of the forms with a destination: the copy of the source):
 *  - a fault in the direction bits, reported before any table is fetched;
 *  - #QZ_StsNoMem for a table of factors, followed by a back-trace record "Bad Ptr" of
 *    `Fft_Core_Short_As_Float`. A negative status word left by an earlier failure gives this record too, for
 *    each such table, and the transform goes on where the error handler answers 0;
 *  - #QZ_StsNoMem for the buffer, "insufficiency of memory for pointer  pQZContext->Fft.sBuffer", also for
 *    orders above those given below. Until QZFreeFftTbls() is called, transforms up to this size then fail
 *    likewise without asking for memory;
 *  - #QZ_StsNoMem for the table of reversed indexes;
 *  - the reports of QZswbConvertDown().
 *
 * All but the first are followed by a back-trace record of the transform itself.
 * @{
 */
/**
 * Complex transform in place.
 *
 * @param data 2^order points; their transform on return
 * @param order base-2 logarithm of the number of points; at most 29
 * @param flags direction and scaling
 * @param doScale one of the scale modes
 * @param[in,out] scaleFactor k: read by #QZ_ScaleFixed, stored by the other modes
 */
QZK_API void QZvFft(QZComplexShort *data, int32_t order, int32_t flags, int32_t doScale,
                    int32_t *scaleFactor);

/**
 * Packed spectrum of real samples in place.
 *
 * @param data 2^order samples; their packed spectrum on return
 * @param order base-2 logarithm of the number of samples; at most 30
 * @param flags direction and scaling
 * @param doScale one of the scale modes
 * @param[in,out] scaleFactor k: read by #QZ_ScaleFixed, stored by the other modes
 */
QZK_API void QZwRealFft(int16_t *data, int32_t order, int32_t flags, int32_t doScale, int32_t *scaleFactor);

/**
 * Real samples of a packed spectrum in place.
 *
 * @param data packed spectrum of 2^order integers; the samples in natural order on return
 * @param order base-2 logarithm of the number of samples; at most 30
 * @param flags direction and scaling
 * @param doScale one of the scale modes
 * @param[in,out] scaleFactor k: read by #QZ_ScaleFixed, stored by the other modes
 */
QZK_API void QZwCcsFft(int16_t *data, int32_t order, int32_t flags, int32_t doScale, int32_t *scaleFactor);

/**
 * Complex transform into a destination: QZwbCopy(), then QZvFft() there.
 *
 * @param src 2^order points
 * @param[out] dst room for 2^order points: their transform
 * @param order base-2 logarithm of the number of points; at most 29
 * @param flags direction and scaling
 * @param doScale one of the scale modes
 * @param[in,out] scaleFactor k: read by #QZ_ScaleFixed, stored by the other modes
 */
QZK_API void QZvFftNip(const QZComplexShort *src, QZComplexShort *dst, int32_t order, int32_t flags,
                       int32_t doScale, int32_t *scaleFactor);

/**
 * Packed spectrum of real samples into a destination: QZwbCopy(), then QZwRealFft() there.
 *
 * @param src 2^order samples
 * @param[out] dst room for 2^order integers: the packed spectrum
 * @param order base-2 logarithm of the number of samples; at most 30
 * @param flags direction and scaling
 * @param doScale one of the scale modes
 * @param[in,out] scaleFactor k: read by #QZ_ScaleFixed, stored by the other modes
 */
QZK_API void QZwRealFftNip(const int16_t *src, int16_t *dst, int32_t order, int32_t flags, int32_t doScale,
                           int32_t *scaleFactor);

/**
 * Real samples of a packed spectrum into a destination: QZwbCopy(), then QZwCcsFft() there.
 *
 * @param src packed spectrum of 2^order integers
 * @param[out] dst room for 2^order integers: the samples
 * @param order base-2 logarithm of the number of samples; at most 30
 * @param flags direction and scaling
 * @param doScale one of the scale modes
 * @param[in,out] scaleFactor k: read by #QZ_ScaleFixed, stored by the other modes
 */
QZK_API void QZwCcsFftNip(const int16_t *src, int16_t *dst, int32_t order, int32_t flags, int32_t doScale,
                          int32_t *scaleFactor);
/** @} */

/**
 * @brief Releases the tables and work buffers of all Fourier transforms.
 *
 * The next transform builds its tables again, with the same bits.
 */
QZK_API void QZFreeFftTbls(void);
/** @} */

/**
 * @defgroup window Windows and pre-emphasis
 *
 * What is done to a frame of samples before its spectrum is taken.
 * @{
 */

/**
 * @name Windows
 * @{
 */
/**
 * Multiply a frame by a tapering window, in place. For `len` points w[k], k = 0 to `len` - 1, is computed in
 * double and stored as float, with c = 6.2831853 as written (F. J. Harris, "On the use of windows for
 * harmonic analysis with the discrete Fourier transform", 1978, describes all four):
 *
 * | Window | w[k] |
 * |---|---|
 * | Hamming | 0.54 - 0.46 cos(k c / (len - 1)) |
 * | Hanning | 0.5 - 0.5 cos((k + 1) c / (len + 1)): no zero end points |
 * | Bartlett | k d up to k = (len - 1) / 2 rounded down, then 2 - k d, where d = 2 / (len - 1) |
 * | Blackman | 0.42 - 0.5 cos(k c / (len - 1)) + 0.08 cos(2 k c / (len - 1)) |
 *
 * Each window keeps its coefficients for up to 16 lengths. A 17th length releases all of them and starts
 * anew.
 *
 * The float form leaves the frame as it is for a `len` below 2. When there is no memory for the coefficients
 * it reports #QZ_StsNoMem and leaves the frame as it is.
 *
 * @param[in,out] srcDst `len` samples of any range
 * @param len number of samples
 */
QZK_API void QZsWinHamming(float *srcDst, int32_t len);
QZK_API void QZsWinHanning(float *srcDst, int32_t len);
QZK_API void QZsWinBartlett(float *srcDst, int32_t len);
QZK_API void QZsWinBlackman(float *srcDst, int32_t len);
/** @} */

/**
 * @name Windows of 16-bit frames
 * @{
 */
/**
 * Convert the frame to float, apply the window and convert back as QZswbConvertDown() does, so that the
 * caller chooses how the result is scaled. A frame of fewer than 2 samples is converted, but not tapered.
 *
 * The float copy of the frame lies in a buffer per window that only grows. Without memory for it or for the
 * coefficients, #QZ_StsNoMem is reported and the frame stays as it is. A negative status, an earlier one
 * included, stops the work after the float window with the report #QZ_StsBackTrace.
 *
 * @param[in,out] srcDst `len` samples
 * @param len number of samples
 * @param doScale how the result is fitted to 16 bits: #QZ_ScaleWrap, #QZ_ScaleFixed, #QZ_ScaleAuto or
 *        #QZ_ScaleSaturate; any other value is reported with #QZ_StsBadArg
 * @param[in,out] scaleFactor k of result times 2^-k: read by #QZ_ScaleFixed, stored by the other modes
 * @return that of QZswbConvertDown(), or of the error handler
 */
QZK_API int32_t QZwWinHamming(int16_t *srcDst, int32_t len, int32_t doScale, int32_t *scaleFactor);
QZK_API int32_t QZwWinHanning(int16_t *srcDst, int32_t len, int32_t doScale, int32_t *scaleFactor);
QZK_API int32_t QZwWinBartlett(int16_t *srcDst, int32_t len, int32_t doScale, int32_t *scaleFactor);
QZK_API int32_t QZwWinBlackman(int16_t *srcDst, int32_t len, int32_t doScale, int32_t *scaleFactor);
/** @} */

/**
 * @name Release of the window coefficients
 * @{
 */
/**
 * Release all coefficients of one window; the next frame builds them again.
 * @return 0
 */
QZK_API int32_t QZsFreeWinHammingTbls(void);
QZK_API int32_t QZsFreeWinHanningTbls(void);
QZK_API int32_t QZsFreeWinBartlettTbls(void);
QZK_API int32_t QZsFreeWinBlackmanTbls(void);
/** @} */

/**
 * @name Release of the window coefficients and the 16-bit buffer
 * @{
 */
/**
 * Release all coefficients of one window, which both forms share, and the buffer of its 16-bit form.
 */
QZK_API void QZwFreeWinHammingTbls(void);
QZK_API void QZwFreeWinHanningTbls(void);
QZK_API void QZwFreeWinBartlettTbls(void);
QZK_API void QZwFreeWinBlackmanTbls(void);
/** @} */

/**
 * Pre-emphasis, in place: y[k] = x[k] - a x[k-1] from the unfiltered samples, product and difference in
 * double. The first sample stays; nothing is carried over from one frame to the next.
 *
 * @param[in,out] srcDst `len` samples of any range
 * @param a coefficient, of any value; customary are 0.9 to 1
 * @param len number of samples; below 2 nothing changes
 */
QZK_API void QZsPreemphasize(float *srcDst, float a, int32_t len);

/**
 * Pre-emphasis of a 16-bit frame, in place.
 *
 * With #QZ_ScaleWrap each difference is evaluated in extended precision, truncated towards zero to 32 bits,
 * of which the low 16 are stored without saturation; beyond 32 bits 0 is stored. The scale factor is set to
 * 0, for a frame without samples too.
 *
 * With any other mode the frame is filtered as floats and converted back as QZswbConvertDown() does. Without
 * memory for the float copy, #QZ_StsNoMem is reported and the frame stays as it is.
 *
 * @param[in,out] srcDst `len` samples
 * @param a coefficient, of any value
 * @param len number of samples; a `len` of 1 or less filters nothing
 * @param doScale how the result is fitted to 16 bits: #QZ_ScaleWrap, #QZ_ScaleFixed, #QZ_ScaleAuto or
 *        #QZ_ScaleSaturate; any other value is reported with #QZ_StsBadArg
 * @param[in,out] scaleFactor k of result times 2^-k: read by #QZ_ScaleFixed, stored by the other modes
 * @return 0 with #QZ_ScaleWrap, else that of QZswbConvertDown() or of the error handler
 */
QZK_API int32_t QZwPreemphasize(int16_t *srcDst, float a, int32_t len, int32_t doScale, int32_t *scaleFactor);

/** Releases the buffer of QZwPreemphasize(). */
QZK_API void QZFreePreemphasizeTbls(void);
/** @} */

/**
 * @defgroup cepstrum Mel-frequency cepstra
 *
 * Features of one frame after S. B. Davis and P. Mermelstein, "Comparison of parametric representations for
 * monosyllabic word recognition in continuously spoken sentences" (1980): log magnitudes of the spectrum,
 * weighted sums over triangular filters that are equally wide in mel, and their cosine transform. The
 * logarithm is taken before the sums.
 *
 *     QZMFCCFilters *filters = QZsMFCCInit(9, 24, 0, 4000, 8000, 0, 0, 0);
 *     for (each frame of 512 samples)
 *         QZsCepstralMFCC(1, frame, filters, cepstrum, 13);
 *     QZsFreeMFCCFilters(filters);
 *
 * The work buffers are sized for the filter bank used last: changing between two banks from frame to frame
 * allocates them anew each time. One table of cosine factors serves the last pair of `nFilters` and
 * `nCoeffs`.
 * @{
 */

/** Filter bank made by QZsMFCCInit() or QZwMFCCInit(). */
typedef struct QZMFCCFilters QZMFCCFilters;

/**
 * @name Filter banks
 * @{
 */
/**
 * Build a bank of triangular filters over N = 2^`order` bins; bin b stands for the frequency
 * b (`rate` / 2) / (N - 1). A filter's weight rises from 0 at its low edge to 1 at its center and falls to 0
 * at its high edge, linearly in frequency. Frequencies are in the unit of 1 Hz: mel(f) = 2595 log10(1 + f /
 * 700).
 *
 * `nFilters` filters of equal width in mel, each beginning at its predecessor's center, cover `lowFreq` to
 * `highFreq`. With `linear` not 0, `nLinear` above 0 and `linearEnd` above `lowFreq`, the first `nLinear` of
 * them are instead equally wide in frequency and cover `lowFreq` to `linearEnd`, the last one reaching to the
 * center of the first mel filter and being centered anew.
 *
 * The 16-bit form does the same; it also gives up, with the report #QZ_StsBackTrace, when an earlier failure
 * left a negative status.
 *
 * @param order binary logarithm of the frame length, 0 to 30
 * @param nFilters number of filters
 * @param lowFreq low edge of the first filter
 * @param highFreq high edge of the last filter
 * @param rate twice the frequency of the last bin. Bin b reads the log magnitude of the frame's b-th spectral
 *        value, whose frequency is b / N times the sampling rate, so that bins above N/2 read it mirrored
 * @param linear not 0: linear filters come first
 * @param nLinear number of linear filters
 * @param linearEnd end of the linear part
 * @return the bank, which the caller frees exactly once with the matching function; null without memory,
 * which is reported with #QZ_StsNoMem, as are an `order` or `nFilters` for which no bank can exist
 */
QZK_API QZMFCCFilters *QZsMFCCInit(int32_t order, int32_t nFilters, int32_t lowFreq, int32_t highFreq,
                                   int32_t rate, int32_t linear, int32_t nLinear, int32_t linearEnd);
QZK_API QZMFCCFilters *QZwMFCCInit(int32_t order, int32_t nFilters, int32_t lowFreq, int32_t highFreq,
                                   int32_t rate, int32_t linear, int32_t nLinear, int32_t linearEnd);
/** @} */

/**
 * Cepstrum of one frame: c[k] = 2 sum over j of F[j] cos(pi k (j + 0.5) / nFilters), where F[j] is filter j's
 * weighted sum of S, and S[b] = log10 |X[b]| the log magnitude of the frame's spectrum.
 *
 * A spectral value of 0 gives minus infinity, which is no error.
 *
 * Reports #QZ_StsNoMem without memory for the work buffers, and #QZ_StsBackTrace when a step left a negative
 * status or found one. With a negative status a time signal is not worked on; a spectrum is.
 *
 * @param timeSignal not 0: `src` holds N samples; 0: `src` holds S, N/2 + 1 log magnitudes
 * @param[in] src the frame, of any range
 * @param[in,out] filters the bank; its order gives N
 * @param[out] dst `nCoeffs` cepstral coefficients
 * @param nCoeffs number of coefficients; below 1 nothing is written
 * @return the status when it is not negative, else that of the error handler
 */
QZK_API int32_t QZsCepstralMFCC(int32_t timeSignal, const float *src, QZMFCCFilters *filters, float *dst,
                                int32_t nCoeffs);

/**
 * Cepstrum of a 16-bit frame: QZsCepstralMFCC() of its float copy, converted to 16 bits as QZswbConvertDown()
 * does. Reports as both of them do.
 *
 * @param timeSignal not 0: `src` holds samples; 0: its first N/2 + 1 values are log magnitudes
 * @param[in] src N values, all of which are read
 * @param[in,out] filters the bank; its order gives N
 * @param[out] dst `nCoeffs` cepstral coefficients
 * @param nCoeffs number of coefficients; below 1 nothing is written
 * @param doScale how the result is fitted to 16 bits: #QZ_ScaleWrap, #QZ_ScaleFixed, #QZ_ScaleAuto or
 *        #QZ_ScaleSaturate; any other value is reported with #QZ_StsBadArg
 * @param[in,out] scaleFactor k of result times 2^-k: read by #QZ_ScaleFixed, stored by the other modes
 * @return that of QZswbConvertDown(), or of the error handler
 */
QZK_API int32_t QZwCepstralMFCC(int32_t timeSignal, const int16_t *src, QZMFCCFilters *filters, int16_t *dst,
                                int32_t nCoeffs, int32_t doScale, int32_t *scaleFactor);

/**
 * @name Release of filter banks
 * @{
 */
/**
 * Releases a bank, the work buffers that were sized for it and the table of cosine factors, which a further
 * bank in use builds again. The 16-bit form also releases the buffers of QZwCepstralMFCC().
 *
 * @param filters the bank
 */
QZK_API void QZsFreeMFCCFilters(QZMFCCFilters *filters);
QZK_API void QZwFreeMFCCFilters(QZMFCCFilters *filters);
/** @} */
/** @} */

/**
 * @defgroup pattern Pattern store and dynamic time warping
 *
 * A pattern is a sequence of feature vectors (frames) of one dimension. Reference patterns are copied into a
 * store and named by identifiers from then on; a test pattern is compared with a list of them. There are two
 * stores, one for floats (letter s) and one for 16-bit integers with a scale (letter w), whose identifiers
 * have nothing to do with each other.
 *
 * The store owns what it holds, and lives until QZsPatternFreeAll() and QZwPatternFreeAll(). It must not
 * change while an evaluation runs.
 * @{
 */

#define QZ_DTWNoBand 1      /**< band width 0, whatever `width` says */
#define QZ_DTWThreshold 64  /**< prune against the threshold */
#define QZ_DTWCityBlock 128 /**< city-block instead of Euclidean frame distance */

/**
 * @brief Stores a copy of a 16-bit pattern.
 *
 * Its identifier is the smallest positive number that no pattern of the store has. Without memory the store
 * stays as it is and #QZ_StsNoMem is reported ("wPattern can not be allocated", after the report of
 * QZsAlloc2() where that failed).
 *
 * @param frames row pointers of `nFrames` frames
 * @param nFrames number of frames; 0 or less gives a pattern without frames
 * @param dim elements per frame, 0 or more
 * @param scale the elements stand for their value times 2^scale; -64 to 64
 * @return the identifier, or -1
 */
QZK_API int32_t QZwPatternIni(const int16_t *const *frames, int32_t nFrames, int32_t dim, int32_t scale);

/**
 * @brief Stores a copy of a float pattern.
 *
 * As QZwPatternIni(); the report is "sPattern can not be allocated".
 *
 * @param frames row pointers of `nFrames` frames
 * @param nFrames number of frames; 0 or less gives a pattern without frames
 * @param dim elements per frame, 0 or more
 * @return the identifier, or -1
 */
QZK_API int32_t QZsPatternIni(const float *const *frames, int32_t nFrames, int32_t dim);

/**
 * @brief Looks at a stored 16-bit pattern.
 *
 * The rows belong to the store and are gone when the pattern is freed. They are 8-byte aligned. Evaluations
 * use a float copy made when the pattern was stored: writing to the rows does not change scores.
 *
 * An unknown identifier leaves the outputs as they are; only if the store is empty #QZ_StsError is reported
 * ("wPatterns have not been initialized.").
 *
 * @param id identifier
 * @param frames set to the row pointers of the frames
 * @param nFrames set to the number of frames
 * @param dim set to the elements per frame
 * @param scale set to the scale
 * @return `id`, or 0 if there is no such pattern
 */
QZK_API int32_t QZwPatternGet(int32_t id, int16_t ***frames, int32_t *nFrames, int32_t *dim, int32_t *scale);

/**
 * @brief Looks at a stored float pattern.
 *
 * As QZwPatternGet(), but these rows are the ones that evaluations compare. The report is "sPatterns have not
 * been initialized."
 *
 * @param id identifier
 * @param frames set to the row pointers of the frames
 * @param nFrames set to the number of frames
 * @param dim set to the elements per frame
 * @return `id`, or 0 if there is no such pattern
 */
QZK_API int32_t QZsPatternGet(int32_t id, float ***frames, int32_t *nFrames, int32_t *dim);

/** @name Freeing one pattern
 * @{ */
/**
 * @brief Removes a pattern from its store.
 *
 * An unknown identifier is reported with #QZ_StsError ("?Pattern NULL ptr is met in internal structure. The
 * ?Pattern can not be free.", with the letter of the store), after the report of the empty store if it is
 * empty.
 *
 * @param id identifier
 * @return 0, or -1 on failure
 */
QZK_API int32_t QZwPatternFree(int32_t id);
QZK_API int32_t QZsPatternFree(int32_t id);
/** @} */

/** @name Freeing all patterns
 * @{ */
/**
 * @brief Empties a store; nothing happens if it is empty.
 * @return 0, or -1 if a pattern could not be freed
 */
QZK_API int32_t QZwPatternFreeAll(void);
QZK_API int32_t QZsPatternFreeAll(void);
/** @} */

/** @name Counting patterns
 * @{ */
/**
 * @brief Number of patterns in a store.
 * @return the number
 */
QZK_API int32_t QZwPatternsNumber(void);
QZK_API int32_t QZsPatternsNumber(void);
/** @} */

/**
 * @brief Scores a float test pattern against stored references by dynamic time warping and finds the best.
 *
 * A path matches every test frame i with a reference frame j and costs the sum of the N frame distances: from
 * one test frame to the next it stays on j, though never twice in a row, or goes on to j + 1 or j + 2 (the
 * asymmetric local constraint of Itakura, Minimum prediction residual principle applied to speech
 * recognition, IEEE Trans. ASSP 23, 1975). Paths keep inside the parallelogram of slopes 1/2 and 2 between
 * the ends of the patterns, widened by the band of B = |width| frames: they may start at any of the first B +
 * 1 and end at any of the last B + 1 reference frames. Which way leads into a cell is settled cell by cell,
 * the diagonal winning ties; the score is the smallest total at the end. A test of one frame counts its
 * distance twice.
 *
 * With #QZ_DTWThreshold, partial paths that do not stay below the threshold are given up; a reference of
 * which nothing is left scores the threshold. A reference of another dimension, with less than N / 2 frames
 * (rounded up) or more than 2 N - 1 + B, and an identifier without a pattern score 3.4e38. In an empty store
 * every identifier is reported as by QZsPatternGet().
 *
 * Without memory #QZ_StsNoMem is reported ("No memory for work arrays allocation") and `scores` is left as it
 * is.
 *
 * @param ids identifiers of the references
 * @param nIds number of identifiers; 0 or less: the result is 0
 * @param test row pointers of the test frames
 * @param nTest N, the number of test frames; 0 or less: every reference scores 3.4e38
 * @param dim elements per test frame
 * @param mode sum of #QZ_DTWNoBand, #QZ_DTWThreshold and #QZ_DTWCityBlock; other bits are ignored
 * @param threshold accumulated distance from which on paths are pruned
 * @param width band width B in frames; its sign does not matter
 * @param scores room for `nIds` scores
 * @return position in `ids` of the first of the smallest scores, 0 if none is below 3.4e38 in single
 *         precision; -1 without memory
 */
QZK_API int32_t QZsEvalDTW(const int32_t *ids, int32_t nIds, const float *const *test, int32_t nTest,
                           int32_t dim, int32_t mode, double threshold, int32_t width, double *scores);

/**
 * @brief Scores a 16-bit test pattern against stored 16-bit references.
 *
 * Test and references are scaled to floats and scored as by QZsEvalDTW(); the scores are converted with
 * QZdibConvertDown(), which may report and leave `scores` as they are.
 *
 * @param ids identifiers of the references
 * @param nIds number of identifiers; 0 or less: the result is 0
 * @param test row pointers of the test frames
 * @param nTest number of test frames; 0 or less: every reference scores 3.4e38
 * @param dim elements per test frame
 * @param testScale the test elements stand for their value times 2^testScale; -64 to 64
 * @param mode sum of #QZ_DTWNoBand, #QZ_DTWThreshold and #QZ_DTWCityBlock; other bits are ignored
 * @param thresholdValue the threshold is thresholdValue times 2^thresholdScale
 * @param thresholdScale scale of the threshold; -64 to 64
 * @param width band width in frames; its sign does not matter
 * @param scores room for `nIds` scores
 * @param scoreMode scale mode of QZdibConvertDown()
 * @param scoreScale scale factor of QZdibConvertDown()
 * @return position in `ids` of the first of the smallest scores, 0 if none is below 3.4e38; -1 without memory
 */
QZK_API int32_t QZwEvalDTW(const int32_t *ids, int32_t nIds, const int16_t *const *test, int32_t nTest,
                           int32_t dim, int32_t testScale, int32_t mode, int32_t thresholdValue,
                           int32_t thresholdScale, int32_t width, int32_t *scores, int32_t scoreMode,
                           int32_t *scoreScale);
/** @} */

/**
 * @defgroup gauss Gaussian mixtures
 *
 * A server describes a probability density of feature vectors as a weighted sum of M Gaussian components
 * (Bishop, Pattern Recognition and Machine Learning, 2006, section 2.3.9). Its value at x is
 *
 *     sum over m of w[m] e^(-q[m] / 2),   q[m] = (x - mean[m])' P[m] (x - mean[m])
 *
 * with the inverse covariance matrix P[m]. The factors that make it a density, (2 pi)^(-dim / 2) and the root
 * of the determinant of P[m], belong into the weights.
 *
 * Differences, products, sums and exponentials are computed in extended precision (mantissas of 64 bits), in
 * the order of the components, rows and columns; the sum over the components is rounded to double with each
 * of them. A full matrix is used as it is, its two triangles need not agree, and q[m] counts without its
 * sign.
 *
 * A server with tables looks its exponentials up: with -q/2 = -(n + k/1000 + rest), n and k whole and k below
 * 1000, the value is e^-n e^(-k/1000) from tables in single precision, at most e^0.001 times too large; from
 * -100 down it is 0. The tables are shared by all servers, built by the first evaluation that needs them and
 * dropped by the release of any server with tables.
 *
 *     const float weights[] = {0.3f, 0.1f};
 *     const float mean0[] = {0, 0}, mean1[] = {1, 1}, inverse0[] = {1, 1}, inverse1[] = {2, 2};
 *     const float *means[] = {mean0, mean1}, *inverse[] = {inverse0, inverse1};
 *     QZsGaussMixServer *server = QZsInitGaussMixServer(weights, means, NULL, inverse, NULL, 2, 0);
 *     double density = QZsEvalGaussMix(server, x, 2);
 *     QZsFreeGaussMixServer(server);
 *
 * A server borrows the arrays that it is made of: they have to live as long as it does, and what changes in
 * them counts from the next evaluation on.
 * @{
 */

/** A mixture of float vectors. */
typedef struct QZsGaussMixServer QZsGaussMixServer;
/** A mixture of 16-bit vectors. */
typedef struct QZwGaussMixServer QZwGaussMixServer;

/**
 * @brief Makes a server of float vectors.
 *
 * Reported are #QZ_StsBadArg ("One of InverseCov or InverseCovD must be NULL and the other non NULL") and
 * #QZ_StsNoMem ("insufficiency of memory for pointer  server"). Nothing else is checked.
 *
 * @param weights `nMix` weights
 * @param means row pointers of `nMix` mean vectors
 * @param inverseCov `nMix` matrices by row pointers, [component][row][column], or null
 * @param inverseCovD row pointers of `nMix` diagonals of inverse variances, or null
 * @param reserved kept with the server and not used
 * @param nMix M, the number of components; 0 or less: every value is 0
 * @param useExpTables whether exponentials are looked up (not 0) or computed (0)
 * @return the server, to be released with QZsFreeGaussMixServer(), or null
 */
QZK_API QZsGaussMixServer *QZsInitGaussMixServer(const float *weights, const float *const *means,
                                                 const float *const *const *inverseCov,
                                                 const float *const *inverseCovD, void *reserved,
                                                 int32_t nMix, int32_t useExpTables);

/**
 * @brief Makes a server of 16-bit vectors.
 *
 * The weights, means and inverse covariances count as the integers they are.
 *
 * @param weights `nMix` weights
 * @param means row pointers of `nMix` mean vectors
 * @param inverseCov `nMix` matrices by row pointers, [component][row][column], or null
 * @param inverseCovD row pointers of `nMix` diagonals, or null
 * @param reserved kept with the server and not used
 * @param nMix M, the number of components; 0 or less: every value is 0
 * @param useExpTables whether exponentials are looked up (not 0) or computed (0)
 * @param scale the quadratic form of the integers is multiplied by QZPower2(scale)
 * @return the server, to be released with QZwFreeGaussMixServer(), or null; reports as
 *         QZsInitGaussMixServer()
 */
QZK_API QZwGaussMixServer *QZwInitGaussMixServer(const int16_t *weights, const int16_t *const *means,
                                                 const int16_t *const *const *inverseCov,
                                                 const int16_t *const *inverseCovD, void *reserved,
                                                 int32_t nMix, int32_t useExpTables, int32_t scale);

/**
 * @brief Value of a mixture at a float vector.
 *
 * With tables, these failures are reported, and the value is 0:
 * - #QZ_StsInternal ("Cannot lookup exponential of positive value"), of the function "LookupExponential
 *   (Macro)": q of a component is negative, which only a diagonal can give; the components behind it are not
 *   looked at;
 * - #QZ_StsNoMem of the function "BuildExpTables" ("insufficiency of memory for pointer  integralExpTable" or
 *   "... fractionalExpTable"), followed by a trace record. The trace record also ends an evaluation that
 *   builds the tables under a negative status of another origin.
 *
 * @param server server
 * @param x vector of `dim` elements
 * @param dim elements of the vector, the means and the covariances; 0 or less: the value is the sum of the
 *            weights
 * @return the value
 */
QZK_API double QZsEvalGaussMix(const QZsGaussMixServer *server, const float *x, int32_t dim);

/**
 * @brief Value of a mixture at a 16-bit vector.
 *
 * As QZsEvalGaussMix(); the value is converted with QZdiConvertDown(), which may report too.
 *
 * @param server server
 * @param x vector of `dim` elements
 * @param dim elements of the vector, the means and the covariances
 * @param resultMode scale mode of QZdiConvertDown()
 * @param resultScale scale factor of QZdiConvertDown(); left alone when the evaluation fails
 * @return what QZdiConvertDown() returns, or 0 when the evaluation fails
 */
QZK_API int32_t QZwEvalGaussMix(const QZwGaussMixServer *server, const int16_t *x, int32_t dim,
                                int32_t resultMode, int32_t *resultScale);

/** @name Releasing a server
 * @{ */
/**
 * @brief Releases a server, not the arrays it was made of; null is left alone.
 *
 * A server with tables takes the shared tables along; the next evaluation that needs them builds them again.
 *
 * @param server server
 */
QZK_API void QZsFreeGaussMixServer(QZsGaussMixServer *server);
QZK_API void QZwFreeGaussMixServer(QZwGaussMixServer *server);
/** @} */
/** @} */

/**
 * @defgroup hmm Hidden Markov models
 *
 * A model, once given to the library, is a server named by a small positive identifier; servers of one kind
 * can be put into classes, so that one evaluation finds the best of them. There are three models of the
 * output, each for floats (letter s) and for 16-bit integers (letter w): discrete symbols, one Gaussian
 * mixture per state (continuous), and weights of one codebook of mixtures (semicontinuous).
 *
 * The transition matrix has one row per source state: a[i][j] belongs to the step from i to j. Its topology
 * is found when it is stored: left-to-right when every step to a lower state is impossible; with three states
 * or more and every step of more than two states ahead impossible as well, a Bakis model. The more is
 * impossible, the faster is the evaluation, which adds whatever values are stored: an impossible step has to
 * be a large cost there too.
 *
 * With #QZ_HMMCost impossible means at least 1e30 (floats) or 32767 (16 bits), without it 0 or less. Matrices
 * and vectors are copied. Gaussian mixtures are not: they belong to the client and have to outlive the
 * server.
 *
 * The identifier of a new server or class is the smallest positive number not in use. Servers and classes
 * live until they are freed, at the latest by QZHMMFreeAll().
 * @{
 */

#define QZ_HMMCost 1 /**< probabilities are given as costs, that is negative logarithms */

/** @name Discrete models
 * @{ */
/**
 * @brief Makes a server of a model that emits symbols.
 *
 * Without memory for its record the result is -1; without memory for its tables the server exists, and every
 * evaluation skips it. A missing table is reported with #QZ_StsBadArg by "QZSetHMMServerParm" ("change HMM
 * nStates without data"; for `b` beside a negative nStates "change HMM nSymbols without data"). With a
 * negative status, which an earlier failure may have left, the new server is freed again: check
 * QZGetStatus().
 *
 * @param a nStates row pointers to nStates transitions
 * @param b nStates row pointers to nSymbols outputs: b[j][k] belongs to symbol k in state j
 * @param pi nStates initial values
 * @param nStates number of states; a negative number counts as 0, a model that is never scored
 * @param nSymbols size of the alphabet; a negative number counts as 0
 * @param options #QZ_HMMCost or 0; other bits are ignored
 * @return the identifier, or -1
 */
QZK_API int32_t QZsInitHMMServer(const float *const *a, const float *const *b, const float *pi,
                                 int32_t nStates, int32_t nSymbols, int32_t options);
QZK_API int32_t QZwInitHMMServer(const int16_t *const *a, const int16_t *const *b, const int16_t *pi,
                                 int32_t nStates, int32_t nSymbols, int32_t options);
/** @} */

/**
 * @brief Makes a server of a float model whose states have one Gaussian mixture each.
 *
 * As QZsInitHMMServer(). Without memory for the copy of `mixtures`, or when it would have a negative size,
 * the result is -1 too, but the server stays registered until QZHMMFreeAll().
 *
 * @param a nStates row pointers to nStates transitions
 * @param pi nStates initial values
 * @param mixtures nStates servers of Gaussian mixtures; the array is copied, the servers are not
 * @param nStates number of states; a negative number gives -1
 * @param dim elements of a feature vector
 * @param options #QZ_HMMCost or 0
 * @return the identifier, or -1
 */
QZK_API int32_t QZsInitContHMMServer(const float *const *a, const float *pi,
                                     QZsGaussMixServer *const *mixtures, int32_t nStates, int32_t dim,
                                     int32_t options);

/**
 * @brief Makes a server of a 16-bit model whose states have one Gaussian mixture each.
 *
 * As QZsInitContHMMServer().
 *
 * @param a nStates row pointers to nStates transitions
 * @param pi nStates initial values
 * @param mixtures nStates servers of Gaussian mixtures; the array is copied, the servers are not
 * @param nStates number of states; a negative number gives -1
 * @param dim elements of a feature vector
 * @param options #QZ_HMMCost or 0
 * @param scale transitions and initial values are costs times 2^-scale, and so become the costs of the
 * outputs
 * @return the identifier, or -1
 */
QZK_API int32_t QZwInitContHMMServer(const int16_t *const *a, const int16_t *pi,
                                     QZwGaussMixServer *const *mixtures, int32_t nStates, int32_t dim,
                                     int32_t options, int32_t scale);

/**
 * @brief Makes a server of a float model whose states weight one codebook of Gaussian mixtures.
 *
 * As QZsInitContHMMServer().
 *
 * @param a nStates row pointers to nStates transitions
 * @param b nStates row pointers to nSymbols weights of the codebook entries
 * @param pi nStates initial values
 * @param codebook nSymbols servers of Gaussian mixtures; the array is copied, the servers are not
 * @param nStates number of states
 * @param nSymbols number of codebook entries; a negative number gives -1
 * @param dim elements of a feature vector
 * @param options #QZ_HMMCost or 0
 * @return the identifier, or -1
 */
QZK_API int32_t QZsInitSemicontHMMServer(const float *const *a, const float *const *b, const float *pi,
                                         QZsGaussMixServer *const *codebook, int32_t nStates,
                                         int32_t nSymbols, int32_t dim, int32_t options);

/**
 * @brief Makes a server of a 16-bit model whose states weight one codebook of Gaussian mixtures.
 *
 * As QZsInitContHMMServer().
 *
 * @param a nStates row pointers to nStates transitions
 * @param b nStates row pointers to nSymbols weights of the codebook entries
 * @param pi nStates initial values
 * @param codebook nSymbols servers of Gaussian mixtures; the array is copied, the servers are not
 * @param nStates number of states
 * @param nSymbols number of codebook entries; a negative number gives -1
 * @param dim elements of a feature vector
 * @param options #QZ_HMMCost or 0
 * @param scale transitions and initial values are costs times 2^-scale, and so become the costs of the
 * outputs
 * @return the identifier, or -1
 */
QZK_API int32_t QZwInitSemicontHMMServer(const int16_t *const *a, const int16_t *const *b, const int16_t *pi,
                                         QZwGaussMixServer *const *codebook, int32_t nStates,
                                         int32_t nSymbols, int32_t dim, int32_t options, int32_t scale);

/**
 * @brief Takes a server out of every class and frees it; nothing happens if the identifier is unknown.
 *
 * Its Gaussian mixtures stay.
 *
 * @param id identifier
 */
QZK_API void QZFreeHMMServer(int32_t id);

/**
 * @brief Makes a class without members.
 * @return its identifier, or -1 without memory
 */
QZK_API int32_t QZCreateHMMClass(void);

/**
 * @brief Frees a class; its members stay.
 * @param classId identifier of the class
 * @return 1, or -1 if there is no such class
 */
QZK_API int32_t QZDeleteHMMClass(int32_t classId);

/**
 * @brief Puts a server into a class, once at most.
 *
 * The first member settles for good which element type, model and #QZ_HMMCost option the class has; another
 * kind of server is reported with #QZ_StsBadArg ("wrong class for HMM server"). A server may be in several
 * classes.
 *
 * @param classId identifier of the class
 * @param serverId identifier of the server
 * @return 1; -1 for an unknown identifier, another kind of server, or without memory
 */
QZK_API int32_t QZAddHMMToClass(int32_t classId, int32_t serverId);

/**
 * @brief Takes a server out of a class.
 * @param classId identifier of the class
 * @param serverId identifier of the server
 * @return 1, also if the server was no member; -1 for an unknown identifier
 */
QZK_API int32_t QZRemoveHMMFromClass(int32_t classId, int32_t serverId);

/** @brief Frees every class and every server; Gaussian mixtures stay. */
QZK_API void QZHMMFreeAll(void);
/** @} */

/**
 * @defgroup viterbi Viterbi search
 *
 * The cost of the best path of states through a model, given a sequence of observations: with the initial
 * costs pi, the costs of steps a and of outputs b_t in frame t,
 *
 *     cost_0[j] = pi[j] + b_0[j],   cost_t[j] = min over i of (cost_(t-1)[i] + a[i][j]) + b_t[j],
 *
 * and the result is the least cost of the last frame, whatever its state (Rabiner, A tutorial on hidden
 * Markov models and selected applications in speech recognition, Proc. IEEE 77, 1989, with negative
 * logarithms). All stored values count as costs here, which must not be negative.
 *
 * Float costs are rounded to float after each addition and compared by their bits. 16-bit costs are added as
 * 32-bit integers that saturate.
 *
 * A model is an identifier of a server, or minus that of a class: its members are scored in the order of
 * their identifiers, and among equal costs the last one wins. An unknown identifier, a class without members,
 * a server of another kind or without tables, no observations, and a lack of memory give the largest
 * value, 3.4028235e38 or 2147483647; `bestId` keeps its value unless a server was scored before the memory
 * ran out. Nothing here reports; what the Gaussian mixtures report, they report through the status.
 * @{
 */

/**
 * @brief Scores symbols against discrete float models.
 * @param model identifier of a server, or minus the identifier of a class
 * @param observations nObs symbols, from 0 to below the size of the alphabet
 * @param nObs number of observations
 * @param bestId set to the identifier of the best server
 * @return its cost
 */
QZK_API float QZsEvalHMMViterbi(int32_t model, const int32_t *observations, int32_t nObs, int32_t *bestId);

/**
 * @brief Scores symbols against discrete 16-bit models.
 *
 * With #QZ_ScaleFixed the cost is shifted right by `scoreScale`, arithmetically, or left where that is
 * negative; the low five bits of the distance count. With any other mode the cost is returned as it is, and
 * `scoreScale` is set to 0. The largest value that stands for no score is not shifted, and `scoreScale` not
 * set.
 *
 * @param model identifier of a server, or minus the identifier of a class
 * @param observations nObs symbols, from 0 to below the size of the alphabet
 * @param nObs number of observations
 * @param bestId set to the identifier of the best server
 * @param scoreMode #QZ_ScaleFixed or another mode
 * @param scoreScale how far the cost is shifted, or set to 0
 * @return its cost
 */
QZK_API int32_t QZwEvalHMMViterbi(int32_t model, const int32_t *observations, int32_t nObs, int32_t *bestId,
                                  int32_t scoreMode, int32_t *scoreScale);

/** @name Continuous and semicontinuous float models
 * @{ */
/**
 * @brief Scores feature vectors against float models.
 *
 * The cost of an output is -log10 of its density, rounded once to float: of the state's mixture (continuous),
 * or of the sum of the codebook's densities, as floats, times the state's weights (semicontinuous). A density
 * of 0 costs infinity. The members of a semicontinuous class have to share one codebook: that of the first is
 * used.
 *
 * @param model identifier of a server, or minus the identifier of a class
 * @param observations row pointers of nObs feature vectors
 * @param nObs number of observations
 * @param bestId set to the identifier of the best server
 * @return its cost
 */
QZK_API float QZsEvalContHMMViterbi(int32_t model, const float *const *observations, int32_t nObs,
                                    int32_t *bestId);
QZK_API float QZsEvalSemicontHMMViterbi(int32_t model, const float *const *observations, int32_t nObs,
                                        int32_t *bestId);
/** @} */

/** @name Continuous and semicontinuous 16-bit models
 * @{ */
/**
 * @brief Scores feature vectors against 16-bit models.
 *
 * The density d of an output is a 32-bit integer with 29 fractional bits: the value of the state's mixture
 * times 2^15, truncated (continuous), or the sum of the state's weights times the low 16 bits of such values
 * of the codebook (semicontinuous). It costs (29 log10(2) - log10(d)) 2^-scale, truncated, of which the low
 * 32 bits count, with the scale of the server; a density of 0 or less costs 536870911. The members of a
 * semicontinuous class have to share one codebook: that of the first is used.
 *
 * @param model identifier of a server, or minus the identifier of a class
 * @param observations row pointers of nObs feature vectors
 * @param nObs number of observations
 * @param bestId set to the identifier of the best server
 * @param scoreMode as with QZwEvalHMMViterbi()
 * @param scoreScale as with QZwEvalHMMViterbi()
 * @return its cost
 */
QZK_API int32_t QZwEvalContHMMViterbi(int32_t model, const int16_t *const *observations, int32_t nObs,
                                      int32_t *bestId, int32_t scoreMode, int32_t *scoreScale);
QZK_API int32_t QZwEvalSemicontHMMViterbi(int32_t model, const int16_t *const *observations, int32_t nObs,
                                          int32_t *bestId, int32_t scoreMode, int32_t *scoreScale);
/** @} */
/** @} */

/**
 * @defgroup quantiser Vector quantisation
 *
 * Nearest code vectors of a codebook, as found by k-means (Lloyd 1982) or a self-organising map (Kohonen
 * 1990). Code k, counted from 0, begins at codebook[k dim]; the codebook is only read. Nothing here takes
 * memory or reports anything. The arrays written must not overlap anything else.
 * @{
 */

/**
 * @brief Distances of a vector to every code, and the nearest codes.
 *
 * A distance is the sum of (x[i] - code[i])^2 in double precision, from the first element to the last, or its
 * square root, rounded to float. The codes are ranked by an exchange sort: for each of the ranked positions
 * p, from the first, and each later position q, the codes at p and q change places where that at p is
 * farther. Not-a-number is never farther and never nearer.
 * @param x `dim` elements
 * @param dim elements of a vector; 0 or less: all distances are 0
 * @param nCodes number of code vectors, up to 65535; 0 or less: nothing is written. Numbers of codes above
 *               32767 appear less 65536
 * @param codebook `nCodes` times `dim` elements
 * @param nBest number of codes to rank; more than `nCodes`: all; 0 or less: `best` is not touched
 * @param best room for `nCodes` numbers: the nearest codes in order of increasing distance, counted from 1,
 *             then the others, counted from 0, as the exchanges left them
 * @param useSqrt other than 0: square roots
 * @param distances room for `nCodes` distances
 * @return the place behind the last ranked code in `best`
 */
QZK_API int16_t *QZsVQKohonen(const float *x, int32_t dim, int32_t nCodes, const float *codebook,
                              int32_t nBest, int16_t *best, int32_t useSqrt, float *distances);

/**
 * @brief Distances of a 16-bit vector to every code, and the nearest codes, as QZsVQKohonen() finds them; the
 * distances are truncated to integers, those above 2147483647 to that.
 * @param x `dim` elements
 * @param dim elements of a vector; 0 or less: all distances are 0
 * @param nCodes number of code vectors, up to 65535; 0 or less: nothing is written. Numbers of codes above
 *               32767 appear less 65536
 * @param codebook `nCodes` times `dim` elements
 * @param nBest number of codes to rank; more than `nCodes`: all; 0 or less: `best` is not touched
 * @param best room for `nCodes` numbers: the nearest codes in order of increasing distance, counted from 1,
 *             then the others, counted from 0, as the exchanges left them
 * @param useSqrt other than 0: square roots
 * @param ignored1 not used
 * @param ignored2 not used
 * @param distances room for `nCodes` distances
 * @return the place behind the last ranked code in `best`
 */
QZK_API int16_t *QZwVQKohonen(const int16_t *x, int32_t dim, int32_t nCodes, const int16_t *codebook,
                              int32_t nBest, int16_t *best, int32_t useSqrt, int32_t ignored1,
                              int32_t ignored2, int32_t *distances);
/** @} */

/**
 * @defgroup perceptron Multilayer perceptron
 *
 * Forward pass of a fully connected network of logistic units, y = 1 / (1 + e^-s), s being the sum of a
 * unit's inputs times its weights (Rumelhart, Hinton and Williams 1986). Units have no bias: where one is
 * wanted, the client adds a constant input. The weights stand one after the other: for each layer, from the
 * lowest, and for each of its units, one weight per unit of the layer below.
 *
 * Layers between, and in the 16-bit form the inputs and the last layer too, need memory for the time of the
 * call. When there is none, #QZ_StsNoMem is reported in the name of QZwMLPerceptron() and the output stays as
 * it is.
 * @{
 */

/**
 * @brief Activations of the last layer.
 *
 * A sum is formed in extended precision, from the first input to the last; activations are rounded to float.
 * @param nInputs number of inputs; 0 or less: every sum is 0
 * @param input `nInputs` values
 * @param nLayers number of layers, that of the inputs not counted; 0 or less: nothing is written
 * @param layerSizes number of units of each layer
 * @param weights all weights
 * @param output room for the units of the last layer; must not overlap the weights, nor the input where there
 *               is only one layer
 */
QZK_API void QZsMLPerceptron(int32_t nInputs, const float *input, int32_t nLayers, const int32_t *layerSizes,
                             const float *weights, float *output);

/**
 * @brief Activations of the last layer of a 16-bit network.
 *
 * Products, sums and activations are formed in double, the sums from the first input to the last; the
 * logistic function in extended precision. The activations are converted with QZdwbConvertDown(), which sets
 * the output's scale factor and may report more.
 * @param nInputs number of inputs; 0 or less: every sum is 0
 * @param inputScale the inputs stand for their value times 2^inputScale; -64 to 64
 * @param input `nInputs` values
 * @param nLayers number of layers, that of the inputs not counted; 0 or less: nothing is written
 * @param layerSizes number of units of each layer
 * @param weightScale the weights stand for their value times 2^weightScale; -64 to 64
 * @param weights all weights
 * @param output room for the units of the last layer; written last, so that it may overlap all the others
 * @param outputMode scale mode of QZdwbConvertDown()
 * @param outputScale scale factor of QZdwbConvertDown()
 */
QZK_API void QZwMLPerceptron(int32_t nInputs, int32_t inputScale, const int16_t *input, int32_t nLayers,
                             const int32_t *layerSizes, int32_t weightScale, const int16_t *weights,
                             int16_t *output, int32_t outputMode, int32_t *outputScale);
/** @} */

/**
 * @defgroup logic Packed fill, copy and logic
 *
 * Runs of bits (b), nibbles (n), bytes (y, t), 16-bit words (w) and, for fill and copy, floats (s). A bit or
 * nibble run may begin and end anywhere within a byte; every bit outside it keeps its value, and no source
 * byte outside the source run is read. Nothing here takes memory or reports anything.
 *
 * Only the low three bits of `bitOffset` count: 7 starts a run at the most significant bit of its first byte,
 * 0 at the least significant one. `nibbleOffset` 0 starts a run in the low half of its first byte, any other
 * value in the high half.
 *
 * A source that is the destination itself, offset included, works in place. Where they overlap otherwise, the
 * result is that of the following order, each step reading before it writes:
 *  - Bytes, words and floats, taken as bytes: when there are at least four, single bytes up to a multiple of
 *    four of the destination's address; then words of four bytes, as many as fill whole blocks of sixteen
 *    bytes; then single bytes, which the copy takes from the first to the last and the logic from the last
 *    to the first.
 *  - Bits and nibbles whose source begins at the same place of its byte as the destination: the first
 *    byte, the bytes up to the last one as above, the last byte.
 *  - Other bits and nibbles: the first byte, then four bytes at a time while at least four remain before the
 *    last one, then single bytes.
 *
 * So a copy to a lower address moves the run, and a copy to a higher address repeats its beginning.
 * @{
 */

/**
 * @name Zero
 * @{
 */
/**
 * Clears a run of bits.
 * @param dst  first byte of the run
 * @param bitOffset  bit of the first byte where the run begins, 7 to 0
 * @param len  number of bits; 0 or less does nothing
 */
QZK_API void QZbbZero(uint8_t *dst, int32_t bitOffset, int32_t len);

/**
 * Clears a run of nibbles.
 * @param dst  first byte of the run
 * @param nibbleOffset  0: the run begins in the low half of the first byte, otherwise in the high half
 * @param len  number of nibbles. Less than 0 does nothing, and so does 0 with a run that begins in a high
 * half; 0 with a run that begins in a low half clears the whole first byte.
 */
QZK_API void QZnbZero(uint8_t *dst, int32_t nibbleOffset, int32_t len);
/** @} */

/**
 * @name Zero of whole elements
 * @{
 */
/**
 * Clears a vector.
 * @param dst  elements to clear
 * @param len  number of elements; 0 or less does nothing
 */
QZK_API void QZybZero(uint8_t *dst, int32_t len);
QZK_API void QZtbZero(int8_t *dst, int32_t len);
QZK_API void QZwbZero(int16_t *dst, int32_t len);
QZK_API void QZsbZero(float *dst, int32_t len);
/** @} */

/**
 * @name Set
 * @{
 */
/**
 * Sets or clears a run of bits.
 * @param value  its bit 0 goes to every bit of the run
 * @param dst  first byte of the run
 * @param bitOffset  bit of the first byte where the run begins, 7 to 0
 * @param len  number of bits; 0 or less does nothing
 */
QZK_API void QZbbSet(uint8_t value, uint8_t *dst, int32_t bitOffset, int32_t len);

/**
 * Fills a run of nibbles.
 * @param value  its low four bits go to every nibble of the run
 * @param dst  first byte of the run
 * @param nibbleOffset  0: the run begins in the low half of the first byte, otherwise in the high half
 * @param len  number of nibbles; 0 or less does nothing
 */
QZK_API void QZnbSet(uint8_t value, uint8_t *dst, int32_t nibbleOffset, int32_t len);
/** @} */

/**
 * @name Set of whole elements
 * @{
 */
/**
 * Fills a vector. Floats keep every bit of the value, those of a not-a-number too.
 * @param value  what every element becomes
 * @param dst  elements to fill
 * @param len  number of elements; 0 or less does nothing
 */
QZK_API void QZybSet(uint8_t value, uint8_t *dst, int32_t len);
QZK_API void QZtbSet(int8_t value, int8_t *dst, int32_t len);
QZK_API void QZwbSet(int16_t value, int16_t *dst, int32_t len);
QZK_API void QZsbSet(float value, float *dst, int32_t len);
/** @} */

/**
 * @name Copy
 * @{
 */
/**
 * Copies a run of bits.
 * @param src  first byte of the source run
 * @param dst  first byte of the destination run
 * @param srcBitOffset  bit of the first source byte where the source run begins, 7 to 0
 * @param dstBitOffset  bit of the first destination byte where the destination run begins, 7 to 0
 * @param len  number of bits; 0 or less does nothing
 */
QZK_API void QZbbCopy(const uint8_t *src, uint8_t *dst, int32_t srcBitOffset, int32_t dstBitOffset,
                      int32_t len);

/**
 * Copies a run of nibbles.
 * @param src  first byte of the source run
 * @param dst  first byte of the destination run
 * @param srcNibbleOffset  0: the source run begins in the low half of its first byte, otherwise in the high
 * half
 * @param dstNibbleOffset  the same for the destination run
 * @param len  number of nibbles; 0 or less does nothing
 */
QZK_API void QZnbCopy(const uint8_t *src, uint8_t *dst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
                      int32_t len);
/** @} */

/**
 * @name Copy of whole elements
 * @{
 */
/**
 * Copies a vector bit by bit, whatever its elements mean.
 * @param src  elements to copy
 * @param dst  where they go
 * @param len  number of elements; 0 or less does nothing
 */
QZK_API void QZybCopy(const uint8_t *src, uint8_t *dst, int32_t len);
QZK_API void QZtbCopy(const int8_t *src, int8_t *dst, int32_t len);
QZK_API void QZwbCopy(const int16_t *src, int16_t *dst, int32_t len);
QZK_API void QZsbCopy(const float *src, float *dst, int32_t len);
/** @} */

/**
 * @name Not
 * @{
 */
/**
 * Inverts a run of bits in place.
 * @param srcDst  first byte of the run
 * @param bitOffset  bit of the first byte where the run begins, 7 to 0
 * @param len  number of bits; 0 or less does nothing
 */
QZK_API void QZbbNot(uint8_t *srcDst, int32_t bitOffset, int32_t len);

/**
 * Inverts a run of nibbles in place.
 * @param srcDst  first byte of the run
 * @param nibbleOffset  0: the run begins in the low half of the first byte, otherwise in the high half
 * @param len  number of nibbles. Less than 0 does nothing, and so does 0 with a run that begins in a high
 * half; 0 with a run that begins in a low half inverts the whole first byte.
 */
QZK_API void QZnbNot(uint8_t *srcDst, int32_t nibbleOffset, int32_t len);
/** @} */

/**
 * @name Not of whole elements
 * @{
 */
/**
 * Inverts every bit of a vector in place.
 * @param srcDst  elements to invert
 * @param len  number of elements; 0 or less does nothing
 */
QZK_API void QZybNot(uint8_t *srcDst, int32_t len);
QZK_API void QZwbNot(int16_t *srcDst, int32_t len);
/** @} */

/**
 * @name Logic of bits in place
 * @{
 */
/**
 * srcDst = srcDst and, or, exclusive or src, bit by bit.
 * @param src  first byte of the source run
 * @param srcDst  first byte of the run that is combined with it and takes the result
 * @param srcBitOffset  bit of the first byte of `src` where that run begins, 7 to 0
 * @param dstBitOffset  the same for `srcDst`
 * @param len  number of bits; 0 or less does nothing
 */
QZK_API void QZbbAnd2(const uint8_t *src, uint8_t *srcDst, int32_t srcBitOffset, int32_t dstBitOffset,
                      int32_t len);
QZK_API void QZbbOr2(const uint8_t *src, uint8_t *srcDst, int32_t srcBitOffset, int32_t dstBitOffset,
                     int32_t len);
QZK_API void QZbbXor2(const uint8_t *src, uint8_t *srcDst, int32_t srcBitOffset, int32_t dstBitOffset,
                      int32_t len);
/** @} */

/**
 * @name Logic of nibbles in place
 * @{
 */
/**
 * srcDst = srcDst and, or, exclusive or src, nibble by nibble.
 * @param src  first byte of the source run
 * @param srcDst  first byte of the run that is combined with it and takes the result
 * @param srcNibbleOffset  0: the run of `src` begins in the low half of its first byte, otherwise in the high
 * half
 * @param dstNibbleOffset  the same for `srcDst`
 * @param len  number of nibbles; 0 or less does nothing
 */
QZK_API void QZnbAnd2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
                      int32_t len);
QZK_API void QZnbOr2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
                     int32_t len);
QZK_API void QZnbXor2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
                      int32_t len);
/** @} */

/**
 * @name Logic of whole elements in place
 * @{
 */
/**
 * srcDst = srcDst and, or, exclusive or src.
 * @param src  other operand
 * @param srcDst  operand that takes the result
 * @param len  number of elements; 0 or less does nothing
 */
QZK_API void QZybAnd2(const uint8_t *src, uint8_t *srcDst, int32_t len);
QZK_API void QZwbAnd2(const int16_t *src, int16_t *srcDst, int32_t len);
QZK_API void QZybOr2(const uint8_t *src, uint8_t *srcDst, int32_t len);
QZK_API void QZwbOr2(const int16_t *src, int16_t *srcDst, int32_t len);
QZK_API void QZybXor2(const uint8_t *src, uint8_t *srcDst, int32_t len);
QZK_API void QZwbXor2(const int16_t *src, int16_t *srcDst, int32_t len);
/** @} */

/**
 * @name Logic of bits of two sources
 * @{
 */
/**
 * dst = src1 and, or, exclusive or src2, bit by bit.
 * @param src1  first byte of the first source run
 * @param src2  first byte of the second source run
 * @param dst  first byte of the destination run
 * @param srcBitOffset  bit of the first byte where both source runs begin, 7 to 0
 * @param dstBitOffset  bit of the first byte where the destination run begins, 7 to 0
 * @param len  number of bits; 0 or less does nothing
 */
QZK_API void QZbbAnd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcBitOffset,
                      int32_t dstBitOffset, int32_t len);
QZK_API void QZbbOr3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcBitOffset,
                     int32_t dstBitOffset, int32_t len);
QZK_API void QZbbXor3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcBitOffset,
                      int32_t dstBitOffset, int32_t len);
/** @} */

/**
 * @name Logic of nibbles of two sources
 * @{
 */
/**
 * dst = src1 and, or, exclusive or src2, nibble by nibble.
 * @param src1  first byte of the first source run
 * @param src2  first byte of the second source run
 * @param dst  first byte of the destination run
 * @param srcNibbleOffset  0: both source runs begin in the low half of their first byte, otherwise in the
 * high half
 * @param dstNibbleOffset  the same for the destination run
 * @param len  number of nibbles; 0 or less does nothing
 */
QZK_API void QZnbAnd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
                      int32_t dstNibbleOffset, int32_t len);
QZK_API void QZnbOr3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
                     int32_t dstNibbleOffset, int32_t len);
QZK_API void QZnbXor3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
                      int32_t dstNibbleOffset, int32_t len);
/** @} */

/**
 * @name Logic of whole elements of two sources
 * @{
 */
/**
 * dst = src1 and, or, exclusive or src2.
 * @param src1  first operand
 * @param src2  second operand
 * @param dst  where the result goes
 * @param len  number of elements; 0 or less does nothing
 */
QZK_API void QZybAnd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len);
QZK_API void QZwbAnd3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len);
QZK_API void QZybOr3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len);
QZK_API void QZwbOr3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len);
QZK_API void QZybXor3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len);
QZK_API void QZwbXor3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len);
/** @} */

/**
 * @name Logic of nibbles with a scalar
 * @{
 */
/**
 * srcDst = srcDst and, or, exclusive or value, nibble by nibble.
 * @param value  other operand of every nibble; its low four bits count
 * @param srcDst  first byte of the run
 * @param nibbleOffset  0: the run begins in the low half of the first byte, otherwise in the high half
 * @param len  number of nibbles; 0 or less does nothing
 */
QZK_API void QZnbAnd2s(uint8_t value, uint8_t *srcDst, int32_t nibbleOffset, int32_t len);
QZK_API void QZnbOr2s(uint8_t value, uint8_t *srcDst, int32_t nibbleOffset, int32_t len);
QZK_API void QZnbXor2s(uint8_t value, uint8_t *srcDst, int32_t nibbleOffset, int32_t len);
/** @} */

/**
 * @name Logic of whole elements with a scalar
 * @{
 */
/**
 * srcDst = srcDst and, or, exclusive or value.
 * @param value  other operand of every element
 * @param srcDst  operand that takes the result
 * @param len  number of elements; 0 or less does nothing
 */
QZK_API void QZybAnd2s(uint8_t value, uint8_t *srcDst, int32_t len);
QZK_API void QZwbAnd2s(int16_t value, int16_t *srcDst, int32_t len);
QZK_API void QZybOr2s(uint8_t value, uint8_t *srcDst, int32_t len);
QZK_API void QZwbOr2s(int16_t value, int16_t *srcDst, int32_t len);
QZK_API void QZybXor2s(uint8_t value, uint8_t *srcDst, int32_t len);
QZK_API void QZwbXor2s(int16_t value, int16_t *srcDst, int32_t len);
/** @} */
/** @} */

/**
 * @defgroup image Image copy and mirror
 *
 * Images of bits (b), nibbles (n) and bytes (y, t). An image is a table of pointers to its rows, as
 * QZbAlloc2() and its siblings make them. Column c of a row of bits is bit 7 - c mod 8 of byte c / 8, column
 * c of a row of nibbles the high half of byte c / 2 where c is even, else the low half. An image carries no
 * dimensions: what the arguments name has to be there.
 *
 * Rows are taken one after the other, the first one first. Only the elements that are named change; the other
 * bits and nibbles of the bytes that they share keep their values. Nothing here takes memory.
 * @{
 */

/**
 * @name Copy of a region
 * @{
 */
/**
 * Copies a rectangle of elements to a place in another image or in the same one.
 *
 * Each row is copied by QZbbCopy(), QZnbCopy(), QZybCopy() or QZtbCopy(), which tell what rows that overlap
 * give.
 *
 * All of these are reported with #QZ_StsBadArg, in this order: "orgRow < 0", "orgCol < 0",
 * "copyRgn->leftTopRow < 0", "copyRgn->leftTopCol < 0", "copyRgn->rightBotRow < copyRgn->leftTopRow",
 * "copyRgn->rightBotCol < copyRgn->leftTopCol". Nothing is copied while the status word is negative, be it
 * from these or from an earlier failure.
 *
 * @param srcImage  rows of the source
 * @param dstImage  rows of the destination
 * @param copyRgn  region of the source, up to 2147483647 columns wide; wider ones are not copied. Not null
 * @param orgRow  row of the destination for the first row of the region
 * @param orgCol  column of the destination for the first column of the region
 */
QZK_API void QZbCopyImage(const uint8_t *const *srcImage, uint8_t *const *dstImage,
                          const QZCopyRegion *copyRgn, int32_t orgRow, int32_t orgCol);
QZK_API void QZnCopyImage(const uint8_t *const *srcImage, uint8_t *const *dstImage,
                          const QZCopyRegion *copyRgn, int32_t orgRow, int32_t orgCol);
QZK_API void QZyCopyImage(const uint8_t *const *srcImage, uint8_t *const *dstImage,
                          const QZCopyRegion *copyRgn, int32_t orgRow, int32_t orgCol);
QZK_API void QZtCopyImage(const int8_t *const *srcImage, int8_t *const *dstImage, const QZCopyRegion *copyRgn,
                          int32_t orgRow, int32_t orgCol);
/** @} */

/**
 * @name Mirror
 * @{
 */
/**
 * Writes the mirror image of an image into another one. Nothing is reported.
 *
 * An image is no mirror image of itself: in place, the first half of the rows or columns is overwritten
 * before it is read. Upside down, each row is copied by QZbbCopy(), QZnbCopy(), QZybCopy() or QZtbCopy();
 * left to right, the elements of a row are moved one by one, the first one first.
 *
 * @param srcImage  rows of the source
 * @param dstImage  rows of the destination, with room for as many elements
 * @param nRows  number of rows; 0 or less does nothing
 * @param nCols  number of columns; 0 or less does nothing
 * @param flipRows  0: left and right are exchanged; any other value: top and bottom
 */
QZK_API void QZbMirrorImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t nRows,
                            int32_t nCols, int32_t flipRows);
QZK_API void QZnMirrorImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t nRows,
                            int32_t nCols, int32_t flipRows);
QZK_API void QZyMirrorImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t nRows,
                            int32_t nCols, int32_t flipRows);
QZK_API void QZtMirrorImage(const int8_t *const *srcImage, int8_t *const *dstImage, int32_t nRows,
                            int32_t nCols, int32_t flipRows);
/** @} */
/** @} */

/**
 * @defgroup rotate Image rotation
 *
 * Quarter and half turns of images of bits (b), nibbles (n) and bytes (y, t). An image is a table of pointers
 * to its rows, as QZbAlloc2() and its siblings make them. Column c of a row of bits is bit 7 - c mod 8 of
 * byte c / 8, column c of a row of nibbles the high half of byte c / 2 where c is even, else the low half.
 *
 * The turned picture is centred in the destination. For each pair of extents that face each other after the
 * turn, the smaller one counts: the larger one has half the difference, rounded down, before the part that is
 * written or read. All other elements of the destination keep their values, those that share a byte with it
 * included, and no source byte outside the part that is moved is read.
 *
 * With the part that is moved of r rows and c columns, its element (i, j) goes to
 *
 * | `angle` | Row | Column |
 * |---|---|---|
 * | 180 | r - 1 - i | c - 1 - j |
 * | -90, clockwise | j | r - 1 - i |
 * | any other, counter-clockwise | c - 1 - j | i |
 *
 * of the part that is written. The images have to be separate: one that shares memory with the other loses
 * elements before they are moved, and which ones is not defined. Nothing here takes memory or reports
 * anything.
 * @{
 */

/**
 * @name Rotation
 * @{
 */
/**
 * Turns an image into another one.
 * @param srcImage  rows of the source
 * @param dstImage  rows of the destination
 * @param angle  180 for a half turn, -90 for a quarter turn clockwise; any other value, 0 and 270 included,
 * is a quarter turn counter-clockwise
 * @param srcRows  rows of the source; an extent of 0 or less, of either image, means that nothing is moved
 * @param srcCols  columns of the source
 * @param dstRows  rows of the destination
 * @param dstCols  columns of the destination
 */
QZK_API void QZbRotateImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t angle,
                            int32_t srcRows, int32_t srcCols, int32_t dstRows, int32_t dstCols);
QZK_API void QZnRotateImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t angle,
                            int32_t srcRows, int32_t srcCols, int32_t dstRows, int32_t dstCols);
QZK_API void QZyRotateImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t angle,
                            int32_t srcRows, int32_t srcCols, int32_t dstRows, int32_t dstCols);
QZK_API void QZtRotateImage(const int8_t *const *srcImage, int8_t *const *dstImage, int32_t angle,
                            int32_t srcRows, int32_t srcCols, int32_t dstRows, int32_t dstCols);
/** @} */
/** @} */

/**
 * @defgroup convolve Mask convolution
 *
 * Filters images of bits, nibbles and bytes with small integer masks. An image is a table of row pointers,
 * such as QZyAlloc2() or QZyAllocTable() make; rows of bits and nibbles begin at the first element of their
 * first byte.
 * @{
 */

/**
 * @name Image types
 * @{
 */
#define QZ_ImageSignedByte 0 /**< signed bytes (t), -128 to 127 */
#define QZ_ImageNibble 1     /**< nibbles (n), 0 to 15 */
#define QZ_ImageByte 2       /**< unsigned bytes (y), 0 to 255 */
#define QZ_ImageBit 3        /**< bits (b), 0 or 1 */
/** @} */

/**
 * @name Mask types
 * @{
 */
#define QZ_Mask8Bits 0  /**< coefficients are `int8_t`; any value but #QZ_Mask16Bits works so */
#define QZ_Mask16Bits 1 /**< coefficients are `int16_t` */
/** @} */

/**
 * Convolves a rectangle of an image with a mask.
 *
 * Mask element (floor(maskRows / 2), floor(maskCols / 2)) lies over the element that is computed: the middle
 * one, or the later one of the two where a size is even. Its sum is that of all coefficients times the source
 * elements that they lie over; the mask is not flipped. Elements outside the image count as 0. Sums are
 * exact. `scaleMode` says what is stored:
 *
 * | scaleMode | Stored | `*pShift` afterwards |
 * |---|---|---|
 * | #QZ_ScaleWrap | low bits of the sum | 0 |
 * | #QZ_ScaleFixed | low bits of floor(sum times 2^-`*pShift`) | only read |
 * | #QZ_ScaleSaturate | the sum clamped to the range of the destination's type | 0 |
 * | any other | where the whole mask lies inside the image as #QZ_ScaleSaturate, else as #QZ_ScaleWrap | 0 |
 *
 * Bits of a shared byte that belong to no element of the rectangle keep their values.
 *
 * A mask or image without rows or columns, and a rectangle outside the image, do nothing and leave `*pShift`
 * alone.
 *
 * Rows of the images may overlap, as in place. The order is this then: elements with the whole mask inside
 * the image come first, row by row from the top, and each of their source rows is read just before the first
 * destination row that needs it is written; so in place they are what they would be in another image. The
 * other elements follow one by one, and read what has been written so far: those of the rows above the
 * former, those of the rows below, then row by row those to the left and to the right. `*pShift` and the
 * tables of rows may not lie within the destination.
 *
 * Without memory, or with a negative status from before the call, nothing is written, `*pShift` stays, and
 * #QZ_StsBackTrace is reported after what the allocation has reported.
 * @param srcImage source image
 * @param mask table of `maskRows` rows of `maskCols` coefficients; the coefficients are read first
 * @param dstImage destination image, as large as the source
 * @param srcType type of the source: #QZ_ImageSignedByte, #QZ_ImageNibble, #QZ_ImageByte or #QZ_ImageBit; not
 *        checked
 * @param maskType type of the coefficients: #QZ_Mask16Bits or #QZ_Mask8Bits
 * @param dstType type of the destination, like `srcType`
 * @param nRows rows of the images
 * @param nCols columns of the images
 * @param maskRows rows of the mask
 * @param maskCols columns of the mask
 * @param convRgn rectangle to compute, clipped to the image; null: all of it
 * @param scaleMode how sums are stored
 * @param[in,out] pShift shift of #QZ_ScaleFixed, of any size and sign; has to be valid with every mode
 */
QZK_API void QZMaskConvolve(const void *const *srcImage, const void *const *mask, void *const *dstImage,
                            int32_t srcType, int32_t maskType, int32_t dstType, int32_t nRows, int32_t nCols,
                            int32_t maskRows, int32_t maskCols, const QZCopyRegion *convRgn,
                            int32_t scaleMode, int32_t *pShift);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
