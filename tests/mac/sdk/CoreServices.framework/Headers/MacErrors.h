#pragma once

enum {
  dskFulErr = -34,
  nsvErr = -35,
  bdNamErr = -37,
  fnfErr = -43,
  wPrErr = -44,
  fLckdErr = -45,
  vLckdErr = -46,
  fBsyErr = -47,
  dupFNErr = -48,
  permErr = -54,
  wrPermErr = -61,
  memFullErr = -108,
  dirNFErr = -120,
  afpAccessDenied = -5000,
  /* An errno of the system beneath is added to it. */
  kPOSIXErrorBase = 100000
};
