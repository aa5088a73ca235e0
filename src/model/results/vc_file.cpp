#include "model/results/vc_file.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/print_matrix.h"
#include "job/streams/streams.h"

namespace tarn {
namespace {

constexpr std::size_t tag_width = 8;
/// One sub-count of effective sample sizes a model.
constexpr std::int32_t nests = 1;

struct Column {
  std::string_view tag;
  const Array1<double>& values;
};

void write_columns(Job& job, const std::array<Column, 4>& columns) {
  for (const Column& column : columns)
    job.streams.write_record(job.status.sysvcm,
                             Record().text(column.tag, tag_width).values(column.values.span()));
}

/// The next record of the file; a missing or damaged one is fatal.
std::vector<std::byte> next_record(Job& job) {
  std::vector<std::byte> bytes;
  if (job.streams.read_record(job.status.sysvcm, bytes) != Record_end::read)
    error(job, "The variance-covariance file " + job.status.filvcmonlyrealderiv +
                   " is damaged or ends too early.");
  return bytes;
}

[[noreturn]] void mismatch(Job& job) { error(job, "Mismatch of parameters in binary file and input file."); }

void read_numbers(Job& job, std::string_view tag, std::span<double> numbers) {
  const std::vector<std::byte> bytes = next_record(job);
  Record_reader record(bytes);
  if (record.text(tag_width) != tag) mismatch(job);
  record.values(numbers);
  if (record.short_record() || record.bytes_left() > 0) mismatch(job);
}

}  // namespace

void write_vc_file(Job& job, const Model_estimates& estimates, const Array2<double>& typed_vcmat) {
  const Model_arrays& model = job.model;
  Status_module& status = job.status;
  // KEPT: the point that RDVC= appends can turn the null file's name into another one; still no file is made.
  if (status.filvcm == status.nullfile || status.filvcm == status.nullfile + ".")
    job.streams.open_null(status.sysvcm);
  else if (!job.streams.open_output(status.sysvcm, status.filvcm, status.errmsg))
    error(job, "The variance-covariance file " + status.filvcm + " could not be opened: " + status.errmsg);

  Record header;
  header.text("BINARY", tag_width)
      .value(static_cast<std::int32_t>(typed_vcmat.extent(1)))
      .value(static_cast<std::int32_t>(model.nlogit))
      .value(static_cast<std::int32_t>(status.ngrps))
      .value(nests);
  if (model.chat_given > 0.0) header.value(model.chat_given);
  job.streams.write_record(status.sysvcm, header);
  const Estimates &beta = estimates.beta, &real = estimates.real;
  write_columns(
      job,
      {{{"BETA PAR", beta.estimate}, {"BETA SE", beta.se}, {"BETA LCI", beta.lci}, {"BETA UCI", beta.uci}}});
  matprt(job, typed_vcmat);
  write_columns(
      job,
      {{{"REAL PAR", real.estimate}, {"REAL SE", real.se}, {"REAL LCI", real.lci}, {"REAL UCI", real.uci}}});
  matprt(job, estimates.vcrmat);
}

void close_vc_file(Job& job) {
  const Status_module& status = job.status;
  if (!job.streams.is_open(status.sysvcm)) return;
  if (!job.streams.close(status.sysvcm))
    warn(job, "The variance-covariance file " + status.filvcm +
                  " is incomplete: " + job.streams.fault(status.sysvcm));
  if (status.filvcm == "TARN.VCM" && status.onlyrealderiv == 0) {
    const std::string command = status.deletecmd + " " + status.filvcm;
    if (std::system(command.c_str()) != 0) warn(job, "The command \"" + command + "\" did not succeed.");
  }
}

void read_vc_file(Job& job, Model_estimates& estimates) {
  Model_arrays& model = job.model;
  Status_module& status = job.status;
  if (!job.streams.open_input(status.sysvcm, status.filvcmonlyrealderiv, status.errmsg))
    error(job, "The variance-covariance file " + status.filvcmonlyrealderiv +
                   " could not be opened: " + status.errmsg);

  const List<int> beta_at = betas_by_position(model);
  const std::int32_t n = beta_at.size();
  const std::vector<std::byte> header_bytes = next_record(job);
  Record_reader header(header_bytes);
  const bool known = header.text(tag_width) == "BINARY  ";
  const std::int32_t betas = header.value<std::int32_t>(), reals = header.value<std::int32_t>(),
                     groups = header.value<std::int32_t>();
  header.value<std::int32_t>();
  const double held = header.bytes_left() > 0 ? header.value<double>() : 0.0;
  if (!known || header.short_record() || betas != n || reals != model.nlogit || groups != status.ngrps ||
      !std::isfinite(held) || held < 0.0)
    mismatch(job);

  List<double> typed(model.ncovs_nlbetas), unused(typed.size());
  read_numbers(job, "BETA PAR", typed);
  read_numbers(job, "BETA SE ", unused);
  read_numbers(job, "BETA LCI", unused);
  read_numbers(job, "BETA UCI", unused);
  allocate(job, "from memory allocation of VCMAT and V matrices.", estimates.vcmat, n, n);
  require(job, estimates.vcmat, "VCMAT");
  List<double> row(n);
  for (int i = 1; i <= n; ++i) {
    const std::vector<std::byte> bytes = next_record(job);
    Record_reader record(bytes);
    record.text(tag_width);
    record.values(row.span());
    if (record.short_record() || record.bytes_left() > 0) mismatch(job);
    for (int j = 1; j <= n; ++j)
      estimates.vcmat(i, j) = row(j) / (model.scalefactor(beta_at(i)) * model.scalefactor(beta_at(j)));
  }
  job.streams.close(status.sysvcm);
  if (held > 0.0 && !(model.chat_given > 0.0)) model.chat_given = model.chat = held;
  inflate(model, estimates.vcmat, held > 0.0 ? held : 1.0);
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) model.beta(i) = typed(i) / model.scalefactor(i);
}

}  // namespace tarn
