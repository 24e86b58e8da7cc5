// Auxiliary messages, Spanish: the rows that differ from the Portuguese ones.
#pragma once

#include "runtime/messages.h"

namespace vorne {

inline constexpr Translation kSpanish[] = {
    {0, "Erro Desconocido!"_l1},
    {79, "Erro abrindo la puerta de comunicación."_l1},
    {104, "Usuario no Autorizado!"_l1},
    {105, "Versão Incompatible: Client %s / Server %s."_l1},
    {138, "Desea hacer un sincronismo ?"_l1},
};

}  // namespace vorne
