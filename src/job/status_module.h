#pragma once
// The job variables: options, counters, stream numbers and the statement reader's buffer, with the values
// that they have when a job starts.

#include <array>
#include <string>

#include "numerics/list.h"

namespace tarn {

/// One string of any length; arrays of them hold statement words, labels and names.
using Charray = std::string;

inline constexpr int MAXCHR = 72000;        ///< positions of the statement buffer
inline constexpr int refill_bound = 67903;  ///< `fillsg` stops when the buffer holds more than this

/// Step of finite differences that DELTAX leaves alone: 2^-26.
inline constexpr double default_deltax = 1.4901161193847656e-08;

struct Status_module {
  std::string verson = "vesperal(dble/PIM2) Vers. 11.2 Nov 2025";
  std::string titstr = " ";

  // data
  int dattyp = 0;         ///< data-type number, 0 until ETYPE has been read
  std::string dt_string;  ///< ETYPE keyword as typed
  int liveeh = 0;         ///< 1: one character an occasion
  int closedmodel = 0;    ///< kind of the closed layer, 0 for open families
  int noccas = 0;         ///< occasions
  int ngrps = 0;          ///< groups
  int nhist = 0;          ///< capacity of `encounters`, then the records read
  int nicovs = 0;         ///< individual covariates
  int nstrta = 1;         ///< strata
  int nstrtaplus = 1;     ///< strata plus the layers that a family adds
  int nevents = 0, neventsp = 0, neventslr = 0, neventsbr = 0;
  int nmixtures = 1;
  int nprimy = 1;  ///< primary occasions
  int nspeciesocc = 0;
  int nests = 0;

  // switches
  int debug = 0, debugsa = 0;
  int detail = 1;
  int icmeans = 0, stdic = 0;
  int onlyrealderiv = 0;  ///< 1: read a variance-covariance file instead of fitting
  int show_dt_model = 0;  ///< 1: add the data type to the model name
  int num_threads = 1, num_max_threads = 1;
  int dynamic_threads = 0;
  int noecho = 0, color_output = 1, batchmode = 0;

  // the listing
  int maxlin = 50;  ///< lines a page; 0 and below: no paging
  int lines = 0;    ///< lines left on the page
  int npage = 0;
  int newpag = 0;      ///< 1: nothing has been written since the page header
  int prt_digits = 7;  ///< digits of `f14`, 1 to 7
  char pagchr = 12;
  std::string datstr, timstr;

  // the statement in hand
  int lstchr = 0, nxtchr = 1, lcmdst = 1, lcmded = 0, lstwrd = 0, max_word_used = 0, eof = 0, indent = 1;
  std::string string = std::string(MAXCHR, ' ');  ///< the deck in memory; position p is string[p - 1]
  List<Charray> words, wordss;    ///< upper case, as typed; `lstwrd` entries count; see word()
  std::string line_buffer = " ";  ///< the piece of a line that was read last
  bool line_goes_on = false;      ///< the line of that piece has not been read to its end

  std::string formt;   ///< a template or text made while running
  std::string errmsg;  ///< system error text
  int ieropt = 0;      ///< last status

  // what a results file tells of the job
  std::vector<std::string> warnings;  ///< given so far, but for those that a model's record has taken over
  std::string last_message;           ///< of the fault that ends the job; empty when it has none
  int models = 0;                     ///< processed so far

  // files
  std::string deletecmd, nullfile;
  std::string filein = " ", filout = " ", filres, filvcm, filvcmonlyrealderiv = " ", filsimneal,
              exsubdir = " ";
  int sysin = 4, sysout = 6, sysres = 9, sysvcm = 10, sysmcmc = 11, sysmcmccsv = 12, syssimneal = 13,
      syscrn = 0;
  std::string filjson;  ///< results file, empty: none was asked for
  int sysjson = 14;
  int osunix = 0;  ///< 0: the host is Windows

  // numbers
  int thinchain = 1;
  double ratiothresh = 50.0;
  double penalty_slope = 1000000.0;
  double deltax = default_deltax;  ///< step of finite differences
  double missrwp = -9999.0;

  std::array<bool, 5> flags5{};
  std::array<const char*, 5> labels5{"overflow", "divide by zero", "invalid", "underflow", "inexact"};
};

/// The multiplier of every 95 % limit: 1.96 as a 32-bit number.
inline constexpr double limit_multiplier = 1.96f;

}  // namespace tarn
