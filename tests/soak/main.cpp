// A host that uses the whole library at once, for long, and watches what it takes: ./dev soak.
//
// Read run.cpp for the course of it, tasks.h for what is used, judgement.h for what must not grow.

#include <cstdio>
#include <optional>

#include "options.h"
#include "private_world.h"
#include "run.h"
#include "stop_request.h"

int main(int argc, char** argv) {
  const std::optional<soak::Options> options = soak::ReadCommandLine(argc, argv);
  if (!options) return 2;
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  // Who stops it before it has begun has its folder removed too.
  soak::StopRequest::Block();
  const soak::PrivateWorld world(argv);
  return soak::Run(*options, world).Do() ? 0 : 1;
}
