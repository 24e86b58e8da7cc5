// Synchronisation with the host server: one TCP connection a session, length-prefixed frames in one shared buffer, the
// login and the farewell, the server's tasks. The session above it is vornesync.h. It stands on the log, the screen and
// the tables.
//
// Conventions that hold for every function here:
//  - A failure of the line is no script error: it becomes a code in netglb->errStatus (0 none) and a state line, and
//  the
//    function returns what its comment says. "Error n" means a call of __RuntimeError, which ends the process.
//  - Requests go out as 3 bytes ('B' on a little-endian machine, else 'L', and the body's length in that order) and the
//    body: the number 1 (16 bits), an opcode, its operands. Replies come as a big-endian 16-bit length and the body,
//    whose first two bytes mean nothing; the third is a status, 13 for success. Texts end with a zero byte.
//  - Nothing that the host sends is trusted: reading past a frame's end gives 0 or the empty text, no name of its
//    choice leaves the data directory or the working directory, no length makes anything larger than its buffer.
//  - One thread at a time, one session a process.
#pragma once

#include <cstddef>

#include "storage/vornerdd.h"

/// The largest frame body in either direction, in bytes.
inline constexpr int kLargestFrame = 12000;
/// Bytes that each of the two buffers has.
inline constexpr int kFrameRoom = 12288;
/// Room for a name, an address or an identification, the terminating zero included.
inline constexpr std::size_t kNetTextRoom = 256;

/// What a session carries; lives from __VerifyNetGlb to the end of __DoSync.
struct net_glob {
  Obj_Node *Meter1, *Label1, *Meter2, *Label2;  ///< progress bars and labels of the caller's screen, null for none
  int bIndex;                                   ///< cursor: the next byte of m_buffer to read or write
  DatabaseHdrType header;                       ///< of the database being received
  LocalID m_databaseid;
  DmOpenRef m_database;
  Boolean m_appIsResource, m_appHaveAppInfo, m_appHaveSortInfo;
  Boolean bPackDB;            ///< the login reply ended with 250
  std::int16_t m_max_buff;    ///< always kLargestFrame
  Boolean bFalhaSendReceive;  ///< a transfer is under way, or failed
  std::int16_t bServerTp;     ///< 1 for a server of type 'd'
  std::uint16_t m_appNumRecords, m_appNumRecord;
  std::uint32_t m_appRecordSize;
  std::uint32_t m_appRecordReceived;  ///< bytes of an install that are still to come
  std::uint16_t m_appNumSteps, m_appNumStep;
  MemHandle m_appRecordHandle, m_RecPtr;
  int r_mtu, s_mtu;     ///< bytes that one receive or send takes at most; 1024
  std::FILE* FInstall;  ///< the file being installed
  Boolean bIsDirect;
  DmOpenRef dbLogRef;       ///< the table of messages, while a session lasts
  char m_type_sync;         ///< '2'
  std::uint8_t* m_compact;  ///< target of inflating and deflating, kFrameRoom bytes
  std::uint8_t* m_buffer;   ///< the frame, kFrameRoom bytes
  int m_tot_rec;            ///< records in the packet inflated last
  int m_buflen;             ///< end of the frame received last: nothing is read behind it
  int m_state_oper;         ///< the task under way: 1 receives, 2 sends, 3 deletes a table
  int errStatus;            ///< the session's code, 0 none
  int rpc_sock;             ///< 0: there are no remote calls
  char m_sufixo;            ///< the suffix that the caller gave
  char m_ip[kNetTextRoom];
  int m_porta;
  int m_timeout;                ///< seconds; 20
  char m_serial[kNetTextRoom];  ///< device identification
  char m_grupo[kNetTextRoom];
  int oldtm;
  Boolean bExecutingRPC;  ///< 0
  std::FILE* mlogfile;    ///< the message log, if open
  Boolean bOverflow;      ///< something did not fit the frame being built: it cannot be sent
};
extern net_glob* netglb;  ///< null between sessions

extern Boolean bRestart;  ///< a component was installed: no table work before the application starts again
extern Boolean bNewSync;  ///< the mode without catalogue tables; 0 unless a program sets it

/// Creates netglb with its defaults when there is none; always 1. Error 5.
int __VerifyNetGlb();
/// The same, and both buffers. Error 5.
void VerifyBuffers();
/// Frees the buffers and closes the message log; netglb itself stays. Harmless without it.
void LiberarComBuffs();
/// Computes bswapnum (see tables.h), 1 on a little-endian machine; returns it.
Boolean __SwapBytes();

// ------------------------------------------------------------------------------------------------ the line

int DoCommInterfaceOpen(long* comm);  ///< always 1
int DoCommInterfaceClose(long comm);  ///< always 1
/// Connects to `host`, an IPv4 address or a name; a socket that is open in `*socket` is closed first. 1; -1 when it
/// failed: errStatus 1125 for an unknown name, 1135 without a socket, unchanged when the host refused, or did not
/// answer in the session's time.
int OpenSocket(const char* host, UInt16 port, int* socket);
/// Sends `n` bytes of `data` (at most kLargestFrame), with `header` not 0 the three bytes in front. 1; 0 when the line
/// failed, the host read nothing in the session's time, or the frame being built did not fit.
int WriteExact(int socket, const void* data, int n, int header);
/// Receives `n` bytes (0 to kLargestFrame) into the start of m_buffer, with `body` not 0 leaving the cursor behind its
/// first two. 0; 1 when the line failed, or `n` is too large. When nothing arrives in the session's time (rounds of 30
/// seconds, 1 + m_timeout / 30 of them), the result is 0 and the buffer reads as zeros.
int ReadExact(int socket, void* buffer, int n, int body);
/// Receives a frame into m_buffer (`buffer` is that one), the cursor behind its first two bytes. 1; 0 when that failed,
/// with a state line unless not even its length came.
int ReadSock(void* buffer, int socket);
/// Connects and logs in. 0; 1 when it failed, and errStatus says why. `group` and `device` are the login's texts,
/// `unused` is not; `remoteCall` announces "RPC_ON".
int Connect(const char* host, UInt16 port, int* socket, long* comm, const char* group, const char* unused,
            const char* device, short remoteCall);
/// Says farewell, unless the session failed, and closes. 0 when the farewell was tried, 1 otherwise.
int Disconnect(long comm, int* socket);
int GetProcessorType();                             ///< always 0
std::uint16_t Crc16(const void* data, int length);  ///< always 0: frames carry no check sum

// -------------------------------------------------------------------------------- the buffer and its cursor

// What is written behind kLargestFrame bytes is dropped, and the frame is not sent.
void Reset();
void SetBuffer(void* buffer = nullptr, int size = 0);  ///< the same
void WriteByte(std::uint8_t b);
void WriteUShort(std::uint16_t v);
void WriteInt(std::int32_t v);
void WriteString(const char* s);             ///< null as the empty text
void WriteBuffer(const void* bytes, int n);  ///< and a zero behind them
/// 0 past the end of the frame, and so the next ones.
void ReadByte(std::uint8_t* b);
std::int16_t ReadShort();
std::int32_t ReadInt();
std::int32_t ReadLong();
/// The text at the cursor into `room` bytes, cut when it is longer, always terminated; the cursor goes behind its zero.
void ReadString(char* dst, std::size_t room);
template <std::size_t kRoom>
void ReadString(char (&dst)[kRoom]) {
  ReadString(dst, kRoom);
}
/// The big-endian number of 2 or 4 bytes at `p`.
std::uint16_t __GetShort(const void* p);
std::uint32_t __GetLong(const void* p);

// -------------------------------------------------------------------------------------------- inflating

/// Inflates into m_compact, at most `outLen` bytes and what it has room for (0: kLargestFrame). The size; 0 for
/// anything but one whole zlib stream that fits.
int DoUnPack(const void* src, int srcLen, int outLen);
/// Inflates what lies from the cursor to the end of the frame over the buffer's start; the length stands in front of
/// it, at byte 2, as a number with `binary` not 0, else as decimal digits. The size, 0 when it failed: nothing changed.
int __ExpandBuffer(void* buffer, int binary);
/// Inflates the packet stored as record `index` into m_compact; `count` and m_tot_rec become its number of records.
/// The record's handle, locked; 0 when that failed.
MemHandle __ExpandRecs(DmOpenRef db, UInt32 index, UInt16* count);

// ---------------------------------------------------------------------------------------------- tasks

/// The state line goes to the message log and to the session's table of messages.
void DoSetState(const char* text);
/// Asks how many tasks there are; 0 when that failed too.
int TaskCount(int socket);
/// Fetches and does task `n`, from 1. 0; 9999 when the application must start again first; else it failed.
int TaskExecute(int n, int socket);
/// Deletes a table with its indexes. 1; 0 when there is none, or it holds records that the host has not got: then its
/// deletion is queued.
int Op_DeleteTbl(const char* name);
/// Receives images into the working directory. 0; 1, 12 or 1074 when it failed.
int ReceiveBmp(int socket);
/// Writes an image; a name that is no plain file name (see docs/sync.md) is passed over with a state line.
void WriteImageFile(const char* name, UInt16 size, const void* data);
/// Installs nothing on this platform; 0.
int FileInstall(int socket);
/// The client's version text: empty on this platform.
Obj_Node* GETVER();
void GetMyVersion(char* text);                 ///< what GETVER gives into `text`: on this platform nothing
const char* GetWideBmpName(const char* name);  ///< where an image of that name goes: here the name itself
const char* __Memory();                        ///< the report of memory in the login
/// How many records the temporary database of that owner and kind ('P', 'H', 'I', 'L') has; 0 without one.
int GetTmpDbQtdRecs(const char* owner, char kind);
