/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file teko.h
 * @brief The teko still-image codec, for C99 and later.
 *
 * Grey images of 8 or 16 bits and RGB images of 8 bits a sample become teko files in memory and come back. Every
 * prefix of a file of 14 bytes and more is an image too, coarser than the whole.
 *
 * - Every function that can fail returns a ::teko_status: 0 when all is well, above 0 when there is a result of which
 *   the caller should know something, below 0 when there is none. teko_status_text() says it in words.
 * - No call shares anything with another one: calls on different threads need no lock, unless they are given the same
 *   object. Nothing here prints, reads the environment, opens a file or ends the process.
 * - Structures carry their own size in `struct_size`, so that a later library can add fields: set it, and set to 0 what
 *   you do not use; `teko_image image = {.struct_size = sizeof image};` does both. Fields behind `struct_size` count as 0.
 * - Pointers to structures, to samples and to files must not be null, but where it says so. Memory may be aligned in
 *   any way. A file and the samples that are coded to or from it must not overlap.
 * - Memory that a call allocates comes from teko_options.allocate, if there is one. What is not returned is released
 *   before the call ends, or with the object that holds it.
 */
#ifndef TEKO_TEKO_H
#define TEKO_TEKO_H

#include <stddef.h>
#include <stdint.h>

#include <teko/version.h>

/** @brief How the library's functions are declared: visible in the shared library. */
#if defined(TEKO_STATIC)
#define TEKO_API
#elif defined(__GNUC__)
#define TEKO_API __attribute__((visibility("default")))
#else
#define TEKO_API
#endif

/** @brief No function throws. */
#ifdef __cplusplus
#define TEKO_NOEXCEPT noexcept
extern "C" {
#else
#define TEKO_NOEXCEPT
#endif

/** @brief How a call ends. */
typedef enum teko_status {
    /** All is there. Encoding: the file is complete, and decodes to the very samples. */
    TEKO_OK = 0,
    /** Encoding: a budget left a part of the stream out. Decoding: the file ends early; the samples are an
        approximation. */
    TEKO_CUT = 1,
    /** Encoding: the file is complete, but decodes to other samples than those that went in. Sides of 2 and 3 do that,
        and images of 8 bits a sample that were built for it. */
    TEKO_INEXACT = 2,
    /** Decoding: the stream says what no encoder writes. The samples are what the rules for such streams make of it.
        There is no checksum: other damage goes unseen. */
    TEKO_DAMAGED = 3,

    /** A null pointer, a pitch that overlaps itself, bits that the kind has not, a structure of no known size, memory
        that overlaps, a rate that gives no number of bytes. */
    TEKO_ERROR_ARGUMENT = -1,
    /** No kind of image; in a file, neither 1, 2 nor 3. */
    TEKO_ERROR_KIND = -2,
    /** A side above 65535, 2^31 samples a channel, or to encode: one sample wide or high. */
    TEKO_ERROR_SHAPE = -3,
    /** The file does not start as teko files do. */
    TEKO_ERROR_NOT_TEKO = -4,
    /** The file is too short: below 10 bytes for a description, below 14 for an image. */
    TEKO_ERROR_TOO_SHORT = -5,
    /** The budget is too small for any image: a file needs 14 bytes. */
    TEKO_ERROR_BUDGET = -6,
    /** The caller's buffer is too small. */
    TEKO_ERROR_BUFFER = -7,
    /** The image's coefficients have no place in a file. By the bounds of the transform no image has such. */
    TEKO_ERROR_RANGE = -8,
    /** More samples than teko_options.max_samples allows. */
    TEKO_ERROR_MAX_SAMPLES = -9,
    /** The call would need more bytes than teko_options.max_memory allows. */
    TEKO_ERROR_MAX_MEMORY = -10,
    /** There was no memory. */
    TEKO_ERROR_OUT_OF_MEMORY = -11,
    /** More halvings than the image has levels. */
    TEKO_ERROR_REDUCE = -12,
    /** The description does not fit the file, or that of the other image. */
    TEKO_ERROR_MISMATCH = -13,
    /** More rows than the image has, or fewer, or a call after one that failed. */
    TEKO_ERROR_ORDER = -14,
    /** There is no such target, or not on this processor. */
    TEKO_ERROR_TARGET = -15
} teko_status;

/** @brief The kinds of images. */
typedef enum teko_kind {
    TEKO_GREY8 = 1,  /**< one channel, a byte a sample */
    TEKO_GREY16 = 2, /**< one channel, two bytes a sample */
    TEKO_RGB8 = 3    /**< red, green, blue, a byte a sample */
} teko_kind;

/** @brief The order of the bytes of a sample of 16 bits in the caller's memory. In files it is always the same. */
typedef enum teko_byte_order { TEKO_HOST_ORDER = 0, TEKO_LITTLE_ENDIAN = 1, TEKO_BIG_ENDIAN = 2 } teko_byte_order;

/**
 * @brief An image, and how it lies in the caller's memory.
 *
 * The pointer that goes with it is that of the first sample of the top left pixel. From there, channel c of pixel (x,
 * y) is y * row_pitch + x * pixel_pitch + c * channel_pitch bytes away. Pitches have any sign, so that cropped views,
 * interleaved and planar channels and rows from the bottom up go in and out as they are. Samples that are decoded must
 * not share bytes, and must nest: in some order of rows, pixels and channels, each pitch spans all that come before it.
 * A pitch of 0 is the packed one: of channels, the bytes of a sample; of pixels, those of a pixel; of rows, width times
 * the pitch of pixels.
 */
typedef struct teko_image {
    size_t struct_size;      /**< sizeof(teko_image) */
    uint32_t kind;           /**< a ::teko_kind */
    uint32_t bits;           /**< significant bits of a sample, 1 to 8 or 16; 0: all. The file keeps the number, and what
                                  decodes from a cut file is brought into 0 .. 2^bits - 1; nothing else depends on it */
    uint32_t width;          /**< pixels in a row, 0 to 65535 */
    uint32_t height;         /**< rows, 0 to 65535 */
    uint32_t is_signed;      /**< 1: samples of 16 bits are two's complement, -32768 to 32767. They are coded with the
                                  sign bit flipped, as 0 to 65535; the file does not say so: who decodes sets the same.
                                  Needs a kind of 16 bits, and bits of 0 or 16 */
    uint32_t byte_order;     /**< a ::teko_byte_order */
    ptrdiff_t row_pitch;     /**< bytes */
    ptrdiff_t pixel_pitch;   /**< bytes */
    ptrdiff_t channel_pitch; /**< bytes */
} teko_image;

/** @brief What an encoded file is to be. */
typedef enum teko_goal {
    TEKO_WHOLE = 0,   /**< the complete file */
    TEKO_TO_BYTES = 1, /**< the complete file if it takes at most `bytes`, else exactly `bytes` of it */
    TEKO_TO_RATE = 2  /**< at most `rate` times the raw size, as `teko C` writes it: teko_budget() bytes, and fewer where
                           the stream ends before them. Readers take words of four bytes, so that the last one to three
                           bytes of such a file are of no use: it is complete for a reader only where ::TEKO_OK says so */
} teko_goal;

/**
 * @brief Options of a call. A null pointer stands for all zeros.
 *
 * `allocate` returns memory of at least `bytes` aligned to `alignment`, a power of two, or null; it must not throw or
 * jump. `release` takes it back, with the same two numbers. Either both are set or none. They are called on the thread
 * that makes the call.
 *
 * `place` is for callers whose files have to lie in objects of their own, and saves them a copy. It is called once at
 * most, on that thread, must not throw or jump, and what it gave stays the caller's even where the call fails after it.
 */
typedef struct teko_options {
    size_t struct_size;   /**< sizeof(teko_options) */
    uint32_t goal;        /**< encoding: a ::teko_goal */
    uint32_t reduce;      /**< decoding: how often to halve the sides, at most as often as the image has levels */
    size_t bytes;         /**< of ::TEKO_TO_BYTES */
    double rate;          /**< of ::TEKO_TO_RATE, 0 to 1; it is rounded to single precision */
    uint64_t max_samples; /**< of the whole image, all channels; 0: any number */
    uint64_t max_memory;  /**< bytes that the call may have allocated at any time, the returned file included. 0: to
                               encode, any number; to decode, the larger of 1 GiB and 64 times the bytes of the file */
    /** Returns memory, or null; see above. */
    void* (*allocate)(void* user, size_t bytes, size_t alignment);
    /** Takes memory back; see above. */
    void (*release)(void* user, void* memory, size_t bytes, size_t alignment);
    void* user;           /**< handed to all of them */
    const char* target;   /**< for tests: "plain", "portable", "avx2", "avx512", "neon"; null: the best of the
                               processor. All give the same bytes and samples */
    /** Encoding, where the caller's teko_buffer has no memory: returns room for the file, whose very size it is told, or
        null; see above. May be null. */
    void* (*place)(void* user, size_t bytes);
} teko_options;

/**
 * @brief A file that is being made.
 *
 * With `data` null the library allocates it, `capacity` being ignored; give it back with teko_release(). Else `data`
 * has room for `capacity` bytes, of which those behind `size` may be overwritten.
 *
 * With `data` null and teko_options.place set, it goes where that says and stays the caller's.
 */
typedef struct teko_buffer {
    size_t struct_size; /**< sizeof(teko_buffer) */
    void* data;         /**< the file's first byte, or null */
    size_t capacity;    /**< bytes */
    size_t size;        /**< out: bytes of the file; 0 when a call failed */
} teko_buffer;

/** @brief What is known of a file after it was decoded. */
typedef struct teko_outcome {
    size_t struct_size; /**< sizeof(teko_outcome) */
    size_t used;        /**< bytes that the decoder has used: of a complete file, all but what follows it; of a cut one,
                             up to the last whole word */
} teko_outcome;

/** @brief How far two images differ. */
typedef struct teko_difference {
    size_t struct_size; /**< sizeof(teko_difference) */
    double mse;         /**< mean squared error over all samples; 0 for empty images */
    double psnr;        /**< 10 log10((2^bits - 1)^2 / mse), in decibels; infinite where there is no difference */
    uint32_t largest;   /**< of any two samples */
} teko_difference;

/** @brief The library's version: 0x010203 for 1.2.3. Compare with TEKO_VERSION of version.h. */
TEKO_API uint32_t teko_version(void) TEKO_NOEXCEPT;

/** @brief A status in words: a sentence without its full stop. Never null; the text stays. */
TEKO_API const char* teko_status_text(teko_status status) TEKO_NOEXCEPT;

/** @brief The best target of this processor: one of the names that teko_options.target takes. */
TEKO_API const char* teko_target(void) TEKO_NOEXCEPT;

/**
 * @brief Reads the description of a file.
 *
 * Needs the first 10 bytes. Sets kind, bits, width and height of `image`; its pitches become 0. Judges nothing else:
 * whether the stream is there, or memory for the sides, is not looked at. Bits that the kind has not are set to 0.
 *
 * @return TEKO_OK, TEKO_ERROR_ARGUMENT, TEKO_ERROR_KIND, TEKO_ERROR_NOT_TEKO, TEKO_ERROR_TOO_SHORT
 */
TEKO_API teko_status teko_describe(const void* file, size_t size, teko_image* image) TEKO_NOEXCEPT;

/** @brief How often the sides of an image can be halved on decoding: 0 to 5. */
TEKO_API uint32_t teko_levels(const teko_image* image) TEKO_NOEXCEPT;

/** @brief One side of an image that is reduced: the side over 2^reduce, rounded up. */
TEKO_API uint32_t teko_reduced(uint32_t side, uint32_t reduce) TEKO_NOEXCEPT;

/**
 * @brief The most bytes that a file of such an image takes, whatever its samples are.
 *
 * @return TEKO_OK, TEKO_ERROR_ARGUMENT, TEKO_ERROR_KIND, TEKO_ERROR_SHAPE
 */
TEKO_API teko_status teko_bound(const teko_image* image, size_t* bytes) TEKO_NOEXCEPT;

/**
 * @brief The most bytes that `teko C` writes at a rate, the header's 10 included.
 *
 * That is max(10, rate * raw size), the product being of single precision: beyond 16 MB of raw samples it may be some
 * bytes off, and above. A product that is not a number, or below 0, is refused with TEKO_ERROR_ARGUMENT.
 *
 * @return TEKO_OK, TEKO_ERROR_ARGUMENT, TEKO_ERROR_KIND, TEKO_ERROR_SHAPE
 */
TEKO_API teko_status teko_budget(const teko_image* image, double rate, size_t* bytes) TEKO_NOEXCEPT;

/**
 * @brief Encodes an image.
 *
 * TEKO_OK means that the file decodes to the very samples. It is proved by bounds for all but a few images of 8 bits a
 * sample; those are decoded and compared, in the memory that teko_encode_memory() counts.
 *
 * @param image   describes the samples
 * @param samples may be null where width or height is 0
 * @param file    takes the file; teko_bound() bytes are enough room, and for the other goals their budget is
 * @param options may be null
 * @return TEKO_OK, TEKO_CUT, TEKO_INEXACT; TEKO_ERROR_ARGUMENT, _KIND, _SHAPE, _BUDGET, _BUFFER, _RANGE, _MAX_SAMPLES,
 *         _MAX_MEMORY, _OUT_OF_MEMORY, _TARGET
 */
TEKO_API teko_status teko_encode(const teko_image* image, const void* samples, teko_buffer* file,
                                 const teko_options* options) TEKO_NOEXCEPT;

/**
 * @brief Gives memory back that the library allocated for a file, with the options that it was made with.
 *
 * Sets `data` to null. Nothing else happens where it is null already, or where teko_options.place gave it.
 */
TEKO_API void teko_release(teko_buffer* file, const teko_options* options) TEKO_NOEXCEPT;

/**
 * @brief Decodes a file, or a prefix of 14 bytes and more.
 *
 * `image` describes the caller's memory; kind, width and height must be those of the file (of the reduced image, where
 * options ask for one). Its bits are not looked at: the file's count. Where the call fails the samples are undefined.
 *
 * A reduced image is what the inverse transform has before its last levels, with the gain of the levels taken out. It
 * saves their time and their memory, not that of reading the coded stream before it: a prefix saves that.
 *
 * @param file    the file, or its first bytes
 * @param size    bytes of it that are there
 * @param image   describes where the samples go
 * @param samples may be null where width or height is 0
 * @param options may be null
 * @param outcome may be null
 * @return TEKO_OK, TEKO_CUT, TEKO_DAMAGED; TEKO_ERROR_ARGUMENT, _KIND, _SHAPE, _NOT_TEKO, _TOO_SHORT, _MAX_SAMPLES,
 *         _MAX_MEMORY, _OUT_OF_MEMORY, _REDUCE, _MISMATCH, _TARGET
 */
TEKO_API teko_status teko_decode(const void* file, size_t size, const teko_image* image, void* samples,
                                 const teko_options* options, teko_outcome* outcome) TEKO_NOEXCEPT;

/**
 * @brief How much of a file to keep for a budget.
 *
 * Sets `kept` to the most bytes of at most `bytes` that a decoder uses. The rest may be cut away: nothing need be
 * rewritten.
 *
 * @return TEKO_OK, TEKO_ERROR_ARGUMENT, TEKO_ERROR_KIND, TEKO_ERROR_NOT_TEKO, TEKO_ERROR_TOO_SHORT, TEKO_ERROR_BUDGET
 */
TEKO_API teko_status teko_cut(const void* file, size_t size, size_t bytes, size_t* kept) TEKO_NOEXCEPT;

/**
 * @brief Compares two images of the same kind, width, height and signedness. The first one's bits make the peak.
 *
 * @return TEKO_OK, TEKO_ERROR_ARGUMENT, TEKO_ERROR_KIND, TEKO_ERROR_SHAPE, TEKO_ERROR_MISMATCH
 */
TEKO_API teko_status teko_compare(const teko_image* image, const void* samples, const teko_image* other_image,
                                  const void* other_samples, teko_difference* difference) TEKO_NOEXCEPT;

/**
 * @brief The most bytes that encoding such an image allocates at any time, with those options.
 *
 * The file is counted as if the library allocated it.
 */
TEKO_API teko_status teko_encode_memory(const teko_image* image, const teko_options* options,
                                        uint64_t* bytes) TEKO_NOEXCEPT;

/** @brief The most bytes that decoding a file, of which 10 bytes are needed, allocates at any time. */
TEKO_API teko_status teko_decode_memory(const void* file, size_t size, const teko_options* options,
                                        uint64_t* bytes) TEKO_NOEXCEPT;

/** @brief An image that is pushed row by row. */
typedef struct teko_encoder teko_encoder;

/**
 * @brief Starts to encode an image whose rows come one after another.
 *
 * `options` are copied. The encoder holds what teko_encode() would, but no row.
 *
 * @return TEKO_OK; TEKO_ERROR_ARGUMENT, _KIND, _SHAPE, _BUDGET, _MAX_SAMPLES, _MAX_MEMORY, _OUT_OF_MEMORY, _TARGET.
 *         `encoder` is set to null on failure
 */
TEKO_API teko_status teko_encoder_create(const teko_image* image, const teko_options* options,
                                         teko_encoder** encoder) TEKO_NOEXCEPT;

/**
 * @brief Takes the next `rows` rows, with the pitches of the description. They are not needed any more afterwards.
 *
 * @return TEKO_OK; TEKO_ERROR_ARGUMENT, _ORDER, _OUT_OF_MEMORY
 */
TEKO_API teko_status teko_encoder_push(teko_encoder* encoder, const void* samples, uint32_t rows) TEKO_NOEXCEPT;

/** @brief After the last row, once: makes the file. Ends as teko_encode(), or with TEKO_ERROR_ORDER. */
TEKO_API teko_status teko_encoder_finish(teko_encoder* encoder, teko_buffer* file) TEKO_NOEXCEPT;

/** @brief Ends an encoder at any time. Null is nothing to do. */
TEKO_API void teko_encoder_destroy(teko_encoder* encoder) TEKO_NOEXCEPT;

/** @brief An image that is pulled row by row. */
typedef struct teko_decoder teko_decoder;

/**
 * @brief Reads a file, or a prefix, for its rows to be pulled. The file is not needed any more afterwards.
 *
 * @param file    the file, or its first bytes
 * @param size    bytes of it that are there
 * @param image   describes the rows as they will be pulled, as in teko_decode()
 * @param options are copied; may be null
 * @param decoder takes the decoder
 * @param outcome may be null
 * @return as teko_decode(). `decoder` is set to null on failure, and only then
 */
TEKO_API teko_status teko_decoder_create(const void* file, size_t size, const teko_image* image,
                                         const teko_options* options, teko_decoder** decoder,
                                         teko_outcome* outcome) TEKO_NOEXCEPT;

/**
 * @brief Gives the next `rows` rows, with the pitches of the description.
 *
 * @return TEKO_OK; TEKO_ERROR_ARGUMENT, _ORDER, _OUT_OF_MEMORY
 */
TEKO_API teko_status teko_decoder_pull(teko_decoder* decoder, void* samples, uint32_t rows) TEKO_NOEXCEPT;

/** @brief Ends a decoder at any time. Null is nothing to do. */
TEKO_API void teko_decoder_destroy(teko_decoder* decoder) TEKO_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
