#pragma once

#include <vexa/foundation/export.h>

/// \file
/// The older format: one array of up to four dimensions in a file with the ending ".dbl". Such a file also opens
/// like any other with bf::FileInterface::open(), for reading.
///
/// Neither function throws or leaves an error behind; the result is all that they tell. Threads: any, as long as
/// nobody else writes the file.

extern "C" {

/// Write an array.
/// \param dims four sizes, the fastest first; \p data holds as many samples as their product.
/// \param lengths four physical lengths, one for each dimension
/// \param mode what \p data and the file hold: 0 double in both; 1 double in \p data and float in the file; any
///     other float in both
/// \return 1, or 0 when a pointer is null (\p data may be when there are no samples), a dimension is below 0, the
///     samples have more bytes than 63 bits count, or the file cannot be opened or written to its end
/// \note Deliberate: an old file is not cut: what it holds beyond the new samples stays.
/// \note Deliberate: the file keeps the low 16 bits of each dimension, but all samples of \p data.
/// \note Deliberate: a new file has the mode 0755, less the process's mask.
VEXA_API int vexa_dbl_write(char const* path, int* dims, float* lengths, void const* data, int mode);

/// Read an array, or its header only.
///
/// | Mode | Samples go to | as |
/// |---|---|---|
/// | 160, 173 | nowhere: header only | |
/// | 170 | the caller's buffer | float |
/// | 171 | the caller's buffer | stored |
/// | 172 | the caller's buffer | double |
/// | 174 | new memory | float |
/// | 175 | new memory | stored |
/// | any other | new memory | double |
///
/// A file that ends early gives the samples that it has: the rest of a caller's buffer stays as it was, the rest
/// of new memory is zero.
///
/// \param dims_or_data the caller's buffer in the modes 170 to 172: as large as the product of the dimensions,
///     in samples of the kind delivered; nothing is written beyond that. In all other modes four `int`, which
///     receive the dimensions.
/// \param lengths receives four floats; may be null.
/// \param mode_and_result the mode; receives the address of the samples in all modes but those for the header
///     only. New memory comes from `malloc` with the size of the larger kind of sample, if the file holds one kind
///     and the other is asked for, and the caller frees it.
/// \return 1 when the samples delivered, or with the header only those stored, are double, 2 when they are float;
///     0, with nothing changed, when the file cannot be opened, is shorter than its header, or does not go
///     with what the header says: samples of more bytes than 63 bits count, or, for new memory, of which more than
///     16 MiB are missing. 0 also when memory is short or a pointer is null.
VEXA_API int vexa_dbl_read(char const* path, void* dims_or_data, float* lengths,
                           unsigned long* mode_and_result);

} // extern "C"
