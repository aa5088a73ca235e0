#pragma once
// What an animal goes through in the multi-state types, and a site between and within seasons, drawn for
// docs/data-types.md.

#include <string_view>

namespace tarn {

inline constexpr std::string_view state_diagrams = R"(
## States, step by step

An arrow is a chance; what the arrows out of a box leave of 1 is told beside them. S is raised to the length of the interval, Psi is not.

### Strata that a capture tells: 9, 21, 183

          occasion c             interval c                      occasion c + 1
                         S_a             Psi(a, b)               p_b
        [ alive in a ] -------> survives ---------> [ alive in b ] ---> code of b
              |                    Psi(a, a): the rest     |  1 - p_b
              | 1 - S_a                                    +---------> 0
              v
          [ dead ] ------ 21: r_a(c) ---> second character of cell c not 0; nothing follows
              |  1 - r_a (9, 183: always)
              +---------> 0 for ever

9 and 21 begin at the first capture, in its stratum. In 183 an animal enters ahead of occasion i with pent(i), in stratum a with pi_a(i); its
history is conditional on one capture or more:

        [ not entered ] -- pent(1) pi_a(1) --> alive in a at 1,  -- pent(2) pi_a(2) --> alive in a at 2,  ...

### Strata and sessions: 33 to 38, 61 to 66, 147, 104 to 106, and 32, 103, 119

Between sessions as above, with p\* of the stratum and session for p. Within a session nobody changes its stratum; all its captures show one code.

        closed session    [ in b, not caught ] --- p_j ---> code ---> [ in b, caught ] --- c_j ---> code
                                  | 1 - p_j                                | 1 - c_j
                                  +--> 0                                   +--> 0
                          mixtures, mis-identification, a random effect: as in the types with one stratum

        open session      [ not arrived ] -- pent(j) --> [ present ] -- p_j --> code       1 - p_j --> 0
        (32, 103, 119)                                       | 1 - Phi_j, after occasion j
                                                             v
                                                          [ gone ] ---> 0

The first session with a capture is given: with its stratum in 33 to 38, 61 to 66, 147 and 32; in 104 to 106 and 119 the stratum has the chance
Omega_a p\*_a / sum of Omega p\*; in 103 the stratum is given and the session has a chance, by the share Gamma_a of animals that were there before.

### States that a capture need not tell: 178, 185

                                          p_b        +-- Delta(b, A) --> A   the state itself, seen with certainty
        as in 9 up to [ alive in b ] ---> caught ----+-- Delta(b, x) --> x   an event
                            |                        +-- the rest -----> the last sign of the STRATA statement
                            | 1 - p_b
                            +---------> 0

178 begins at the first capture: pi_a, then the sign by Delta(a, .) of that occasion; without pi in the state of its code. 185 enters as 183 does.

### Sessions with uncertain states: 121, 122, 126, 142, 184

Between sessions as in 9. Within a session, of which the state does not change:

        121, 126, 142, 184     caught in state b ---+-- Delta_b ----> code of b
                                                    +-- 1 - Delta_b -> u
        122                    caught in state b ---+-- Delta_b -----------------> capital letter of b
                                                    +-- (1 - Delta_b) R_b -------> lower-case letter of b   (R_b: matrix Delta of that letter)
                                                    +-- (1 - Delta_b)(1 - R_b) --> lower-case letter of another state, each alike

        142, 184       takes part with alpha -----> [ not arrived ] -- pent --> [ present ] -- p --> caught -- then c for p
                       1 - alpha: 0 throughout                                       | 1 - Phi
                                                                                     v  gone
        126            the same without alpha, and p throughout
        121, 122       all are present throughout: closed session
        184            p, c and Phi by occasion of arrival: rows of their matrices

Of animals met first in a session pi tells the states; where no capture of that session shows the state, Omega tells those of the uncertain ones.

### Captures, resightings and recoveries: 176, 179, 180

        occasion c      interval c                                                    occasion c + 1
                        S_a            +-- R_a --> seen: sign by rho(a, .)
        [ alive in a ] -----> lives ---+-- 1 - R_a --> 0             then Psi(a, b), then p_b and the sign by Delta(b, .)
              |
              | 1 - S_a        +-- r_a --> found: sign by b(a, .); nothing follows
              +-----> dies ----+-- 1 - r_a --+-- R'_a --> seen before it died: sign by rho'(a, .)
                                             +-- 1 - R'_a --> 0

First characters: code, or the sign of an uncertain capture (176: U; 179, 180: a capture event). Second: capital code or uncertain sign alive, lower-case
code, `u` or recovery event dead. In 180 the step Psi comes first: an animal is in the state of the end of the interval throughout it.

## Sites, season by season

A record is a site. Between seasons its state changes, within a season it does not; a season without surveys is a step and no more. What the surveys of a
site tell is a sum over all states that it may have had.

### Occupied or empty: 27 to 30, 107 to 110, 151 to 154, 156, 157

        season t             step t               season t + 1
        [ occupied ] --+-- 1 - Epsilon(t) --> [ occupied ]
                       +-- Epsilon(t) ------> [  empty   ]
        [  empty   ] --+-- Gamma(t) --------> [ occupied ]           first season: occupied with Psi
                       +-- 1 - Gamma(t) ----> [  empty   ]

        survey j of an occupied site:  1 with p(j), 0 with 1 - p(j);  156, 157: 2 with p11 b, 1 with p11 (1 - b), else 0
                    of an empty site:  0;  156, 157: 1 with p10, else 0
        107 to 110: p of the site's class, pi the shares of the classes;  151 to 154: logit p normal, sigmap its deviation

### Within a season: 143, 144 and 170, 123 and 175

        143   segment c - 1           segment c
              [ used   ] -- Theta'(c) --> [ used   ] -- p(c) --> 1       1 - p(c) --> 0
              [ unused ] -- Theta(c) ---> [ used   ]
                        the rest -------> [ unused ] ---> 0              the first segment: as behind an unused one

        144   [ not arrived ] -- pent ahead of survey j --> [ present ] -- p(j) --> 1    1 - p(j) --> 0
        170                                                     | d(j), behind survey j
                                                                v
                                                            [ gone ] ---> 0

        123   occupied site --+-- unit 1: used with Theta(1) --+-- survey 1: 1 with p(1)
        175                   |                                +-- survey L: 1 with p(L)       unused: 0
                              +-- unit 2: used with Theta(2) ...

### Numbers of animals: 111, 112, 117, 118

        N animals at a site,  mean Lambda;  variance Lambda (111, 117) or Lambda + VarAdd (112, 118)
             111, 112   survey c: 1 with 1 - (1 - r(c))^N, else 0
             117, 118   survey c: a count, each of the N animals with r(c)

### Two species: 113, 137, 141

        states       both        A only        B only        neither
        113          PsiAB       PsiA - PsiAB  PsiB - PsiAB  the rest
        137, 141     PsiA PsiBA  PsiA(1-PsiBA) (1-PsiA)PsiBa the rest
        survey       rAB: 11     pA: 10        pB: 01        00
                     rAb: 10     else 00       else 00
                     raB: 01
                     else 00                                 137, 141: rA, then rBA behind a detection of A, rBa without

        141, a step: A comes with GammaAB where B is, with GammaA where it is not; goes with EpsilonAB, EpsilonA. B likewise with
        GammaBA, GammaB, EpsilonBA, EpsilonB, by where A was. Given the state the two move independently.

### States of occupied sites: 116, 124, 125

        116, 124     [ empty ] ---> 0       [ state 1 ] -- p1 --> 1       [ state 2 ] -- p2 --+-- Delta ----> 2
                                                                                             +-- the rest --> 1
        124, a step  out of each of the three:  1 - Psi --> empty,  Psi (1 - R) --> state 1,  Psi R --> state 2
        125          state m shows l with p l|m, l from 1 to m, else 0;  a step from r to q with Psi r to q

### Any species: 177

        a site has the set z of species with  exp(sum of f of the sets within z) / the sum of that over all z
        f 1, f 2, ... f 12, f 13, ...;  the empty set has exp(0);  survey c: species k of z is detected with p_k(c)
)";

}  // namespace tarn
