#pragma once

#include "platform/volume/StartBuilder.h"

/// The steps of a start, each of which adds what it starts and loads. `MakeStartTable` has their
/// order.
namespace bkfd {

// The NT family, up to the logon.
void StartSessionManager(StartBuilder& start);
void StartWinlogon(StartBuilder& start);
void StartServices(StartBuilder& start);
/// Libraries of the security authority and of the spooler.
void LoadPackages(StartBuilder& start);
/// Libraries in every program with windows, which must be there by then.
void LoadAppInit(StartBuilder& start);

// The 95 family.
void StartSystemOf95(StartBuilder& start);
void StartIniFiles(StartBuilder& start);

// Both families: the shell, and the browser as it would be started.
void StartShell(StartBuilder& start);
void StartBrowser(StartBuilder& start);

// Both families: the logon of each user.
void StartActiveSetup(StartBuilder& start);
void StartRunKeys(StartBuilder& start);
void StartStartFolders(StartBuilder& start);
void StartTasks(StartBuilder& start);

}  // namespace bkfd
