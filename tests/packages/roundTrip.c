/* SPDX-License-Identifier: Apache-2.0 */
/* A program of somebody else's in C99: encodes a picture, cuts the file, and decodes both. Status 0 if all is as
   teko.h says. */
#include <teko/teko.h>

#include <stdio.h>
#include <string.h>

enum { width = 61, height = 47, budget = 700 };

static unsigned char samples[height * width];
static unsigned char decoded[height * width];

static int fails(const char* what) {
    fprintf(stderr, "failed: %s\n", what);
    return 1;
}

static void paint(void) {
    size_t x, y;
    for (y = 0; y < height; ++y) {
        for (x = 0; x < width; ++x) {
            samples[y * width + x] = (unsigned char)(x * x / 16 + 3 * y + (x * 7 + y * 5) % 11);
        }
    }
}

static int wholeComesBack(const teko_image* image, const teko_buffer* file) {
    teko_outcome outcome = {sizeof outcome, 0};
    if (teko_decode(file->data, file->size, image, decoded, NULL, &outcome) != TEKO_OK) {
        return 0;
    }
    return outcome.used == file->size && memcmp(samples, decoded, sizeof samples) == 0;
}

static int prefixComesNear(const teko_image* image, const teko_buffer* file) {
    teko_difference difference = {sizeof difference, 0, 0, 0};
    size_t kept = 0;
    if (file->size <= budget || teko_cut(file->data, file->size, budget, &kept) != TEKO_OK || kept > budget) {
        return 0;
    }
    if (teko_decode(file->data, kept, image, decoded, NULL, NULL) != TEKO_CUT) {
        return 0;
    }
    teko_compare(image, samples, image, decoded, &difference);
    return difference.mse > 0 && difference.psnr > 20;
}

int main(void) {
    teko_image image = {sizeof image, TEKO_GREY8, 8, width, height, 0, 0, 0, 0, 0};
    teko_buffer file = {sizeof file, NULL, 0, 0};
    if (teko_version() != TEKO_VERSION) {
        return fails("the library is of the version of its headers");
    }
    paint();
    if (teko_encode(&image, samples, &file, NULL) != TEKO_OK) {
        return fails("encoding");
    }
    if (!wholeComesBack(&image, &file)) {
        return fails("decoding the whole file");
    }
    if (!prefixComesNear(&image, &file)) {
        return fails("decoding what a cut leaves");
    }
    teko_release(&file, NULL);
    return file.data == NULL ? 0 : fails("releasing");
}
