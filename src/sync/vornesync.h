// Synchronisation sessions: the device's tables and the host's are brought into agreement. What is to go up is made
// ready, the host's tasks are done (vornenet.h), what came down is applied. See vornenet.h for the conventions.
#pragma once

#include "sync/vornenet.h"

/// What sessions share; made by the first one, lives to the end of the run. The values belong to no context.
struct sync_globs {
  Obj_Node* TmpOnLine;                            ///< from connecting to disconnecting, a text "hh:mm:ss"
  Obj_Node* TmpOnBatch;                           ///< the same of applying
  Obj_Node *VrnArea, *AttribArea, *IndexTblArea;  ///< work areas of VRN_TBL, VRN_COLS and VRN_IND, -1 closed
  Obj_Node *VRN_TBL_NAME, *VRN_NDX, *ATTRIB_TBL_NAME, *ATTRIB_NDX, *ATTRIB_FLD, *IND_NAME, *IND_NDX;
  Obj_Node* iniConn;     ///< when the phase being timed began
  Obj_Node ToHostArea;   ///< work area of TOHOST
  Boolean Verification;  ///< the check of an earlier, partial transmission runs
  Boolean ConnErr;       ///< how the connection ended, 0 well
  Boolean bHasZlib;      ///< packets are compressed
};
extern sync_globs* ng;

/// Makes `ng` when there is none: 0 when zlib's marker file is missing from the application's directory (the next call
/// gives 1, and packets go uncompressed), else 1. Error 5.
int __VerifyNgGlb();
/// The directory in which the application's marker files are looked for; null for that of the running program.
void SetApplicationDirectory(const char* path);

// --------------------------------------------------------------------------------------------- sessions

/// A session with these parameters (two texts of which the first gives its first character, two numbers, two texts);
/// with one missing or of another type the stored ones are used. The session's code, 0 for success.
Obj_Node* __DoSync(Obj_Node* suffix, Obj_Node* address, Obj_Node* port, Obj_Node* timeout, Obj_Node* device,
                   Obj_Node* group);
/// Runs sessions until one succeeds or the user gives up; NIL.
Obj_Node* __INITSYNC(Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2);
/// One session: 0; 1 when it failed, 2 when what came could not be applied.
int DoSyncronize(Obj_Node* start, Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2);
/// The connected part: 0, or a code of ErrCONN.
int CONNECT(Obj_Node* start, Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2);
/// Login, tasks, farewell: 0, or errStatus.
int DoSync(const char* address, int port, const char* group, const char* deviceType, const char* device, int timeout,
           Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2);
/// Shows and logs the text of a code of CONNECT.
void ErrCONN(int code, Obj_Node* bar, Obj_Node* label, int percent);
/// The day of the last session that succeeded, eight digits; "19900101" when there was none.
Obj_Node* SYNCDATE();
Obj_Node* __SyncDate();  ///< the same
/// Stores the connection's parameters in CAD_USER, made when missing; true.
Obj_Node* CreateUser(Obj_Node* device, Obj_Node* user, Obj_Node* host, Obj_Node* port, Obj_Node* timeout);

// ------------------------------------------------------------------------------------------ tables

/// Receives a table's packets into its 'P' database. 0; 1, 5, 12 or 1074 when it failed.
int TableFromHostToHH(const char* name, int socket, std::int32_t count, char type);
/// Sends a table's prepared packets, then clears the dirty marks of its records. 0; 6, 7 or 12 when it failed.
int TableFromHHToHost(const char* name, int socket);
/// The dirty bit (0x40) when some record of the table has it, else 0.
int HasDirty(const char* name);
/// Queues a table for deletion; 1, or 0 when the queue cannot be opened.
int EnqueueDelete(const char* name);
/// Deletes queued tables that have nothing left to send.
void DeleteEnqueued();
/// Applies the packets received for the table in the area, and deletes them: 1, also for packets that are not all there
/// yet, which wait. 0 when there are none; when packets are damaged, which then are passed over, or keep out what would
/// replace the table or cannot be told apart (the packets go, so that the host's next ones count); when there is no
/// room, the packets wait. `counter` is not used: the area tells how many records there are.
int DoChangeTable(const char* name, int area, Obj_Node* counter = nullptr);
/// The records of `packets` ('P' database) instead of those of the table in the area. 1, or 0.
int __WriteDirectT(const char* name, int area, DmOpenRef packets);
/// The same by the key of the table's index for merging: a live record takes the place of the one with its key or is a
/// new one, a deleted one marks that one as deleted. Behind the table's records when it has no index. 1, or 0.
int __WriteDirect(const char* name, int area, DmOpenRef packets);
/// Applies what was received to the catalogue tables, then to all tables of the catalogue; makes those that are
/// missing. 1, also without a catalogue; 0 when one could not be changed: the others were.
int ReadFromHH();
/// Makes packets of the dirty records of every table of the catalogue, and the table TOHOST, which names those; 1, or 0
/// when they cannot be stored. What was prepared before goes.
int BatchUpload();
/// Makes packets of one table's dirty records; how many records, -1 when they cannot be stored.
int GetRecsDirty(const char* name);
/// Stores `count` records' content as a packet, compressed when that is on and gains; 1, or 0.
int CompressAndWrite(DmOpenRef packets, const void* content, int size, int count);
/// Opens TOHOST, ng->ToHostArea; 1 or 0.
int OpenToHostArea();
/// Clears the dirty marks of the tables in TOHOST whose packets the host has taken, all of them; closes and deletes
/// TOHOST. 1 or 0.
int DeleteToHostTables();
/// 1 when VRN_TBL and VRN_IND are there and hold records.
int VerifyConsistent();
/// 1 when their packets are there, complete.
int VerifyTpdaConsistent();

// -------------------------------------------------------------------------------------- installs, screens

/// Opens the file of an install for writing: the size that the host announces at the cursor, 0 when it cannot be made.
/// `path` has `room` bytes; a component's path gets an underscore, which needs one more.
std::uint32_t DoInstallsStart(char* path, std::size_t room);
/// Inflates the frame and appends it: the bytes written, 1 when nothing more is expected, 0 when it failed.
std::uint32_t DoInstallsStep();
int DoInstallsFinish(int ok);  ///< closes the file; 0

void __TAVREL();  ///< the synchroniser
/// Its action: __INITSYNC with its bars and labels.
void __TAVREL_vld_005();
void CONFIGURACOES();  ///< its settings
void HISTORICO();      ///< its log
inline constexpr int kSyncTextCount = 120;
using SyncTextTable = std::array<const char*, kSyncTextCount>;
extern const SyncTextTable stringMsgSync, stringMsgSyncEng, stringMsgSyncSpa;
