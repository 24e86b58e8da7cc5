// The one entry that a host program calls; see the README for what it must bring.
#pragma once

extern "C" {
/// Runs one command. `cmd` 999 and 997 answer version numbers, any other number runs the command named in `params`: the
/// Base64 form of fields separated by 0x01 and closed by 0x02 (null counts as empty). The answer, Base64 of fields
/// separated by 0x01, is copied into the `outLen` bytes at `out`, the rest zeroed; an answer of outLen bytes or more is
/// cut and has no terminator. Returns 1. Failures end the process: status 0 after "RunTimeError = <number>" or
/// "SAIU PELO CATCH.....", status 1 for an unknown command. One thread at a time.
int ExecInClientDLL(int cmd, char* params, char* out, int outLen);
}
