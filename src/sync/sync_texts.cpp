// The texts of sessions and their screens in the three languages. Support asks for them word by word over the
// telephone, so the Portuguese ones never change.
#include "sync/sync_texts.h"

#include "runtime/latin1.h"
#include "sync/vornesync.h"

namespace {

using namespace vorne;

struct Row {
  const char *portuguese, *english, *spanish;
};

// In the order of SyncText. Where a text has a backslash and an n, logs are searched for them.
constexpr Row kRows[] = {
    {"Iniciando comunicação."_l1, "Starting communication.", "Iniciando comunicación."_l1},
    {"Conectando", "Connecting", "Conectando"},
    {"Desconectando...", "Disconnecting...", "Desconectando..."},
    {"Send Bye", "Send Bye", "Send Bye"},
    {"Desconectado", "Disconnected", "Desconectado"},

    {"Solicitando tarefas", "Requesting tasks", "Solicitando tareas"},
    {"qtd_tasks=%d", "qtd_tasks=%d", "qtd_tasks=%d"},
    {"TaskExecute: Erro=%d", "TaskExecute: Error=%d", "TaskExecute: Error=%d"},
    {"\\nTask = %d Falhou WriteExact", "\\nTask = %d WriteExact failed", "\\nTask = %d WriteExact ha fallado"},
    {"\\nTask = %d OP=%x", "\\nTask = %d OP=%x", "\\nTask = %d OP=%x"},
    {"A aplicação será reiniciada para instalação de novos componentes."_l1,
     "The application will be restarted to install new components.",
     "La aplicación será reiniciada para instalar nuevos componentes."_l1},
    {"Erro de transmissão\\n%s"_l1, "Transmission error\\n%s", "Error de transmisión\\n%s"_l1},
    {"Erro de transmissão\\ntam_write=%d"_l1, "Transmission error\\ntam_write=%d",
     "Error de transmisión\\ntam_write=%d"_l1},
    {"Imagens(s) recebido(s): %ld Tamanho : %ld Kb.", "Image(s) received: %ld Size : %ld Kb.",
     "Imagen(es) recibida(s): %ld Tamaño : %ld Kb."_l1},
    {"Imagem ignorada: %s", "Image passed over: %s", "Imagen ignorada: %s"},

    {"Recebendo %s/%05ld reg(s)", "Receiving %s/%05ld rec(s)", "Recibiendo %s/%05ld reg(s)"},
    {"Retry = %d tabela %s", "Retry = %d table %s", "Retry = %d tabla %s"},
    {"Registro(s) recebido(s): %ld ", "Record(s) received: %ld ", "Registro(s) recibido(s): %ld "},
    {"Sem registros para enviar na tabela %s", "No records to send in table %s",
     "Sin registros para enviar en la tabla %s"},
    {"Enviando tabela %s com %d reg(s)", "Sending table %s with %d rec(s)", "Enviando tabla %s con %d reg(s)"},
    {"Enviando tabela %s", "Sending table %s", "Enviando tabla %s"},
    {"Falhou enviando tabela", "Sending the table failed", "Falló el envío de la tabla"_l1},
    {"Marcando registros como transmitidos na tabela %s", "Marking records as sent in table %s",
     "Marcando registros como transmitidos en la tabla %s"},

    {"Sem registros no arquivo: %s.tpda", "No records in file: %s.tpda", "Sin registros en el archivo: %s.tpda"},
    {"Atualizando %d pacotes\nno arquivo: %s.tpda (1) tipo=%c", "Updating %d packets\nin file: %s.tpda (1) type=%c",
     "Actualizando %d paquetes\nen el archivo: %s.tpda (1) tipo=%c"},
    {"Atualizados %d pacotes\nno arquivo: %s.tpda", "Updated %d packets\nin file: %s.tpda",
     "Actualizados %d paquetes\nen el archivo: %s.tpda"},
    {"\nExistem registros marcados para envio na tabela %s. Tabela não atualizada."_l1,
     "\nThere are records marked for sending in table %s. Table not updated.",
     "\nExisten registros marcados para envío en la tabla %s. Tabla no actualizada."_l1},
    {"Alterando tabela: %s", "Changing table: %s", "Modificando tabla: %s"},
    {"Falhou Open em : %s.", "Open failed in : %s.", "Falló Open en : %s."_l1},
    {"Erro utilizando índice em : %s."_l1, "Error using index in : %s.", "Error utilizando índice en : %s."_l1},
    {"Erro abrindo tabela temporária corrente : %s."_l1, "Error opening current temporary table : %s.",
     "Error abriendo tabla temporal corriente : %s."},
    {"Alterada tabela: %s", "Changed table: %s", "Modificada tabla: %s"},
    {"Criando tabela:  : %s.", "Creating table:  : %s.", "Creando tabla:  : %s."},
    {"Pacote %d danificado na tabela %s", "Packet %d of table %s is damaged", "Paquete %d dañado en la tabla %s"_l1},
    {"Tabela recusada: %s (%s)", "Table refused: %s (%s)", "Tabla rechazada: %s (%s)"},
    {"Índice recusado: %s (%s)"_l1, "Index refused: %s (%s)", "Índice rechazado: %s (%s)"_l1},
    {"Registro %d da tabela %s grande demais: %d bytes, cabem %d", "Record %d of table %s is too large: %d bytes of %d",
     "Registro %d de la tabla %s demasiado grande: %d bytes, caben %d"},
    {"Faltam registros da tabela %s: pedindo todas as tabelas",
     "Records of table %s are missing: asking for all tables",
     "Faltan registros de la tabla %s: pidiendo todas las tablas"},

    {"Início: %s - "_l1, "Start: %s - ", "Inicio: %s - "},
    {"Iniciando", "Starting", "Iniciando"},
    {"\r\nTempos:    Online: %s ", "\r\nTimes:    Online: %s ", "\r\nTiempos:    Online: %s "},
    {"   Offline: %s ", "   Offline: %s ", "   Offline: %s "},
    {"Online %s Offline %s", "Online %s Offline %s", "Online %s Offline %s"},
    {"InitSync: Erro=%d | NetStatus=%d", "InitSync: Error=%d | NetStatus=%d", "InitSync: Error=%d | NetStatus=%d"},
    {"Sincronismo finalizado", "Synchronisation finished", "Sincronismo finalizado"},
    {"Fim: %s - %s\r\n", "End: %s - %s\r\n", "Fin: %s - %s\r\n"},
    {"Erro de conexão(%d). Tente novamente!"_l1, "Connection error(%d). Try again!",
     "Error de conexión(%d). ¡Intente nuevamente!"_l1},
    {"Ocorreram erros na comunicação. Deseja fazer nova conexão ?"_l1,
     "There were communication errors. Do you want to connect again ?",
     "Hubo errores en la comunicación. ¿Desea hacer una nueva conexión ?"_l1},
    {"Reconectar", "Reconnect", "Reconectar"},
    {"Organizando Arquivos", "Organising files", "Organizando archivos"},
    {"Analisando Integridade", "Checking integrity", "Analizando integridad"},
    {"Verificando transmissão parcial."_l1, "Checking partial transmission.", "Verificando transmisión parcial."_l1},
    {"Comunicando com o servidor        ", "Communicating with the server        ",
     "Comunicando con el servidor        "},
    {"Atualização offline"_l1, "Offline update", "Actualización offline"_l1},
    {"Erro atualizando atributo Dirty", "Error updating attribute Dirty", "Error actualizando atributo Dirty"},
    {"Atualização offline de tabelas "_l1, "Offline update of tables ", "Actualización offline de tablas "_l1},
    {"Connect: Erro = %d", "Connect: Error = %d", "Connect: Error = %d"},
    {"Master Table ou Master Index inexistente (5)!.", "Master Table or Master Index missing (5)!.",
     "¡Master Table o Master Index inexistente (5)!."_l1},

    {"Resposta inconsistente.", "Inconsistent answer.", "Respuesta inconsistente."},
    {"Usuário não cadastrado."_l1, "User is not registered.", "Usuario no registrado."},
    {"Erro abrindo tabela de Configurações."_l1, "Error opening the table of settings.",
     "Error abriendo tabla de Configuraciones."},
    {"Entre em contato com o CPD. ", "Contact your data centre. ", "Contacte el centro de datos. "},
    {"Client inconsistente.", "Inconsistent client.", "Client inconsistente."},
    {"Tempo de espera esgotado.", "Waiting time is over.", "Tiempo de espera agotado."},
    {"Erro de conexão. Tente novamente!"_l1, "Connection error. Try again!",
     "Error de conexión. ¡Intente nuevamente!"_l1},

    {"Erro inesperado 2.", "Unexpected error 2.", "Error inesperado 2."},
    {"Erro inesperado 3.", "Unexpected error 3.", "Error inesperado 3."},
    {"erro XX", "error XX", "error XX"},
    {"Favor Instalar a Zlib", "Please install zlib", "Favor instalar la Zlib"},
    {"SelfInst não encontrado. Atualização remota indisponível."_l1, "SelfInst not found. No remote update.",
     "SelfInst no encontrado. Actualización remota no disponible."_l1},

    {"Usuário:"_l1, "User:", "Usuario:"},
    {"Ident.:", "Ident.:", "Ident.:"},
    {"Servidor:", "Server:", "Servidor:"},
    {"Porta:", "Port:", "Puerto:"},
    {"TimeOut:", "TimeOut:", "TimeOut:"},
    {"OK", "OK", "OK"},
    {"Cancelar", "Cancel", "Cancelar"},
    {"Configurações"_l1, "Settings", "Configuraciones"},
    {"Histórico"_l1, "History", "Historial"},
    {"Seu arquivo de log está muito grande. Limpar agora?"_l1, "Your log file is very large. Clear it now?",
     "Su archivo de log es muy grande. ¿Limpiar ahora?"_l1},
    {"Sincronismo", "Synchronisation", "Sincronismo"},
    {"Sim", "Yes", "Sí"_l1},
    {"Não"_l1, "No", "No"},
    {"Sincronizar", "Synchronise", "Sincronizar"},
    {"Limpar", "Clear", "Limpiar"},
    {"Fechar", "Close", "Cerrar"},
    {"Sair", "Quit", "Salir"},
    {"Ctrl-C interrompe", "Ctrl-C interrupts", "Ctrl-C interrumpe"},
    {"Enter fecha", "Enter closes", "Enter cierra"},
    {"Tab muda de campo  Enter grava  Esc cancela", "Tab changes the field  Enter stores  Esc cancels",
     "Tab cambia de campo  Enter graba  Esc cancela"},
    {"Setas movem  Esc fecha", "Arrows move  Esc closes", "Flechas mueven  Esc cierra"},
    {"Não há registros de sincronismo."_l1, "No synchronisation is recorded.", "No hay registros de sincronismo."},
    {"Histórico limpo."_l1, "History cleared.", "Historial limpio."},
    {"Último sincronismo: %s"_l1, "Last synchronisation: %s", "Último sincronismo: %s"_l1},
    {"Nunca sincronizado", "Never synchronised", "Nunca sincronizado"},
    {"Tente novamente; os dados não enviados ficam guardados."_l1, "Try again; what was not sent is kept.",
     "Intente nuevamente; lo no enviado queda guardado."},

    {"Sem espaço para o que veio, dados danificados ou um erro do servidor; as linhas acima dizem qual."_l1,
     "No space for what came, damaged data, or an error of the host's; the lines above tell which.",
     "Sin espacio para lo que vino, datos dañados o un error del servidor; las líneas de arriba dicen cuál."_l1},
    {"A interface de comunicação não abriu."_l1, "The communication interface did not open.",
     "La interfaz de comunicación no abrió."_l1},
    {"A interface de comunicação não é válida."_l1, "The communication interface is not valid.",
     "La interfaz de comunicación no es válida."_l1},
    {"O servidor não aceitou a conexão; confira endereço, porta e rede."_l1,
     "The host did not accept the connection; check address, port and network.",
     "El servidor no aceptó la conexión; revise dirección, puerto y red."_l1},
    {"A linha caiu ao enviar a identificação."_l1, "The line broke while the login was sent.",
     "La línea cayó al enviar la identificación."_l1},
    {"O servidor não respondeu à identificação."_l1, "The host did not answer the login.",
     "El servidor no respondió a la identificación."_l1},
    {"O servidor recusou o dispositivo; confira identificação e grupo."_l1,
     "The host refused the device; check identification and group.",
     "El servidor rechazó el dispositivo; revise identificación y grupo."_l1},
    {"O servidor é de outra versão."_l1, "The host is of another version.", "El servidor es de otra versión."_l1},
    {"A linha caiu ao pedir as tarefas, ou falta espaço em disco."_l1,
     "The line broke while tasks were asked for, or the disk is full.",
     "La línea cayó al pedir las tareas, o falta espacio en disco."_l1},
    {"O servidor não disse quantas tarefas há."_l1, "The host did not tell how many tasks there are.",
     "El servidor no dijo cuántas tareas hay."_l1},
    {"O servidor recusou uma tarefa.", "The host refused a task.", "El servidor rechazó una tarea."_l1},
    {"O nome do servidor não é conhecido."_l1, "The host's name is not known.",
     "El nombre del servidor no es conocido."},
    {"O sistema não deu um socket."_l1, "The system gave no socket.", "El sistema no dio un socket."},
    {"Um pacote guardado não pôde ser lido."_l1, "A packet made ready could not be read.",
     "Un paquete guardado no pudo ser leído."_l1},
    {"A linha caiu ao enviar uma tabela.", "The line broke while a table was sent.",
     "La línea cayó al enviar una tabla."_l1},
    {"O servidor não confirmou uma tabela."_l1, "The host did not acknowledge a table.",
     "El servidor no confirmó una tabla."_l1},
    {"O servidor recusou uma tabela.", "The host refused a table.", "El servidor rechazó una tabla."_l1},
    {"Uma tarefa não chegou."_l1, "A task did not arrive.", "Una tarea no llegó."_l1},
    {"Falta memória."_l1, "There is not enough memory.", "Falta memoria."},
    {"O servidor pediu uma tarefa desconhecida.", "The host asked for an unknown task.",
     "El servidor pidió una tarea desconocida."_l1},
    {"A linha caiu ao pedir uma tarefa.", "The line broke while a task was asked for.",
     "La línea cayó al pedir una tarea."_l1},
    {"A linha caiu ao pedir uma tabela ou imagens.", "The line broke while a table or images were asked for.",
     "La línea cayó al pedir una tabla o imágenes."_l1},
    {"A linha caiu ao receber uma tabela ou imagens.", "The line broke while a table or images came.",
     "La línea cayó al recibir una tabla o imágenes."_l1},
    {"A sessão falhou."_l1, "The session failed.", "La sesión falló."_l1},
};
static_assert(std::size(kRows) == kSyncTextCount);
static_assert(static_cast<int>(SyncText::CodeOther) == kSyncTextCount - 1);

constexpr SyncTextTable column(const char* Row::*language) {
  SyncTextTable texts{};
  for (std::size_t i = 0; i < texts.size(); ++i) texts[i] = kRows[i].*language;
  return texts;
}

}  // namespace

constexpr SyncTextTable stringMsgSync = column(&Row::portuguese);
constexpr SyncTextTable stringMsgSyncEng = column(&Row::english);
constexpr SyncTextTable stringMsgSyncSpa = column(&Row::spanish);

const char* vorne::TextOf(SyncText number) {
  const SyncTextTable& table = iSyncLang == 1 ? stringMsgSync : iSyncLang == 2 ? stringMsgSyncEng : stringMsgSyncSpa;
  return table[static_cast<std::size_t>(number)];
}
