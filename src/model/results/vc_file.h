#pragma once
// The variance-covariance file: written after a fit, read again in place of one.

#include "inference/estimates.h"
#include "job/job.h"

namespace tarn {

/// Opens `filvcm` (the null stream when it is the null file, also with a point behind its name) and writes
/// the records of the model: header, betas, their matrix, reals, their matrix. Betas and their matrix are on
/// the scale of the design as typed. Under CHAT= the header ends with that c-hat as a 64-bit number, which
/// the matrices hold. A file that cannot be opened is fatal. The stream stays open for what derived
/// parameters add.
/// @param typed_vcmat  matrix of the estimated betas on that scale
void write_vc_file(Job& job, const Model_estimates& estimates, const Array2<double>& typed_vcmat);

/// Closes the file. A working file named "TARN.VCM" is deleted by the system's command.
void close_vc_file(Job& job);

/// Reads `filvcmonlyrealderiv` instead of fitting: betas into `job.model.beta` and `estimates.beta`, their
/// matrix into `estimates.vcmat`, both on the scale of the columns in force. The matrix is brought from the
/// c-hat that the file holds to that of CHAT=; without CHAT= the file's stands for it. A file that is not
/// there, is damaged, or belongs to another model is fatal.
void read_vc_file(Job& job, Model_estimates& estimates);

}  // namespace tarn
