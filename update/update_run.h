// One verification ("verificar") or update ("atualizar") run of a channel, from the manifest to the
// installed files. Runs on its own worker thread, never throws, and always ends with exactly one
// final "estado": "pronto", "desatualizado", "parado", "erro" or "reiniciar".
#pragma once

#include "core/engine_state.h"
#include "core/launcher_config.h"

namespace orv {

namespace UpdateEngine {

void Run(EngineState& state, const Channel& channel, bool apply);

}  // namespace UpdateEngine

}  // namespace orv
