@echo off
rem Runs on a Windows machine what norvca's tests can show there: conformance suite, host processes, and the
rem kit's example, installed, updated and removed. Writes report.txt beside this file: a line for each step
rem (passed, failed or skipped), then their output. Windows' own commands suffice. Needs an elevated prompt.
rem
rem   check.cmd          says what it touches and waits for a key, at the end too
rem   check.cmd /ci      doesn't wait; also tests moves that wait for the restart, which can't be withdrawn
rem   check.cmd /clean   only removes what a check that was interrupted has left; nothing on other machines
rem
rem Exit code 0 if no step failed, 1 if one failed, 2 if nothing was run.
setlocal
cd /d "%~dp0"
set option=%~1
set failed=
set wine=
set begun=
if exist "%SystemRoot%\System32\wineboot.exe" set wine=yes
set windows64=yes
if "%PROCESSOR_ARCHITECTURE%%PROCESSOR_ARCHITEW6432%"=="x86" set windows64=
rem A 32-bit prompt has the 32-bit directories under the usual names.
set programs=%ProgramFiles%
if defined ProgramW6432 set programs=%ProgramW6432%
set programs32=%programs%
if defined windows64 set programs32=%programs% (x86)
set menu=%ProgramData%\Microsoft\Windows\Start Menu\Programs
set work=%TEMP%\norv-check
set report=%~dp0report.txt

rem What the steps create, and what therefore must not exist before.
set keys="HKLM\Software\Halvorex" "HKCU\Software\Halvorex" "HKLM\Software\Norv" "HKLM\Software\NorvConformance"
set keys=%keys% "HKCU\Software\NorvConformance" "HKLM\Software\Classes\Norv" "HKLM\Software\Classes\CLSID\Norv"
set keys=%keys% "HKLM\Software\Classes\.vkr" "HKLM\Software\Classes\vkrfile" "HKLM\Software\Classes\.zpm"
set keys=%keys% "HKLM\Software\Classes\zpmfile" "HKLM\Software\Classes\Applications\norv.exe"
set keys=%keys% "HKLM\Software\Classes\Applications\norvw.exe"
set keys=%keys% "HKLM\Software\Microsoft\Windows NT\CurrentVersion\Accessibility\ATs\Dovrin_NorvAssistLink"
set folders="%programs%\Norv" "%programs32%\Norv" "%programs%\Common Files\Dovrin" "%programs32%\Common Files\Dovrin"
set folders=%folders% "%menu%\Norv" "%menu%\Norv Development Kit" "%work%"
set logs="%SystemRoot%\Temp\tolmark.log" "%TEMP%\tolmark.log"

if "%option%"=="/ci" goto begin
echo This check runs test programs and installs, updates and removes example packages of the norvca kit.
echo While it runs it creates these keys, folders and files, and deletes them at its end:
for %%k in (%keys% %folders% %logs%) do echo   %%~k
echo report.txt, which it writes beside itself, contains names and paths of this machine.
pause

:begin
reg add HKLM\Software\NorvCheck /f >nul 2>&1
if errorlevel 1 goto not_elevated
rem This value says that a check was begun, and that what is found is a check's own.
reg query HKLM\Software\NorvCheck /v begun >nul 2>&1
if not errorlevel 1 set begun=yes
if not defined begun reg delete HKLM\Software\NorvCheck /f >nul 2>&1
if "%option%"=="/clean" goto only_clean
if defined begun goto interrupted
set found=
for %%k in (%keys%) do call :refuse_key %%k
for %%f in (%folders% %logs%) do if exist %%f set found=%%~f
if defined found goto not_empty
reg add HKLM\Software\NorvCheck /v begun /f >nul 2>&1

mkdir "%work%"
set TEMP=%work%
set TMP=%work%
set output=%work%\output.txt
>"%work%\steps.txt" echo norvca on Windows, %DATE% %TIME%, %PROCESSOR_ARCHITECTURE% %PROCESSOR_ARCHITEW6432%
ver >>"%work%\steps.txt"
type build-info.txt >>"%work%\steps.txt"
if exist x64 call :architecture x64 64
if exist x86 call :architecture x86 32
call :clean
reg delete HKLM\Software\NorvCheck /f >nul 2>&1
type "%work%\steps.txt" >"%report%"
type "%output%" >>"%report%"
call :delete_work
echo The report is %report%
if not "%option%"=="/ci" pause
if defined failed exit /b 1
exit /b 0

:not_elevated
echo This needs the rights of an administrator: right-click check.cmd, "Run as administrator".
if not "%option%"=="/ci" pause
exit /b 2

:not_empty
echo Nothing was run: this machine has %found%
echo Products of the Norv platform are, or were, installed on it, and the check would change what they share.
if not "%option%"=="/ci" pause
exit /b 2

:interrupted
echo Nothing was run: a check was interrupted on this machine. check.cmd /clean removes what it left.
if not "%option%"=="/ci" pause
exit /b 2

:only_clean
if not defined begun echo No check was interrupted on this machine: nothing was removed.
if not defined begun exit /b 2
mkdir "%work%" 2>nul
call :remove x64
call :remove x86
call :clean
reg delete HKLM\Software\NorvCheck /f >nul 2>&1
call :delete_work
exit /b 0

rem The steps of one architecture: %1 is its directory, %2 its view of the registry.
:architecture
set skip=
if "%1"=="x64" if not defined windows64 set skip=this Windows has 32 bits
rem Under Wine the first program starts services, which keep its output open.
%1\describe.exe >nul 2>&1
if errorlevel 1 if defined wine set skip=this Wine starts no %2-bit programs
if defined skip goto skip_architecture
call :title %1: describe.exe describes the machine
%1\describe.exe "%work%\before.json" >>"%output%" 2>&1
call :note %ERRORLEVEL%

set filter=--gtest_filter=-Files.DelayedMovesAreRecordedForTheRestart
if "%option%"=="/ci" set filter=--gtest_filter=*
call :title %1: conformance suite, %filter%
rem The suite leaves its files, and needs an empty directory.
mkdir "%work%\%1"
set TMP=%work%\%1
%1\conformance.exe %filter% >>"%output%" 2>&1
call :note %ERRORLEVEL%
set TMP=%work%

call :title %1: the library in a host process
%1\callaction.exe %1\norvca.dll %1\example.msi "set=INSTALLDIR=%work%\new" call=MSIValidateInstallDir call=checkIfInstallDirReserved call=DisableAUUninstall memory=MSIValidateInstallDir close call=MSIValidateInstallDir >"%work%\host.txt" 2>&1
call :note %ERRORLEVEL%
type "%work%\host.txt" >>"%output%"
call :expect host.txt "call MSIValidateInstallDir: 0"
call :expect host.txt "call checkIfInstallDirReserved: 0"
call :expect host.txt "call DisableAUUninstall: 0"
call :expect host.txt " times 1627"
call :expect host.txt "call MSIValidateInstallDir: 1627"

call :title %1: a client of the ZIP functions
%1\zipclient.exe %1\norvca.dll archive.zip >"%work%\zip.txt" 2>&1
call :note %ERRORLEVEL%
type "%work%\zip.txt" >>"%output%"
call :expect zip.txt "folder/entry: content"

rem Wine keeps the package of a product open while it is installed, so its update can't read it.
set properties=
if defined wine set properties=NORVCA_NO_UPDATE=1
call :title %1: msiexec installs the example %properties%
msiexec /i %1\example.msi /qn /l*v "%work%\install.log" %properties%
call :note %ERRORLEVEL% install.log
call :title %1: msiexec installs a package that runs the update for the example
msiexec /i %1\update.msi /qn /l*v "%work%\update.log"
call :note %ERRORLEVEL% update.log
call :title %1: msiexec repairs the example, which updates
if defined wine call :skip Wine keeps the example's package open
if not defined wine msiexec /i %1\example.msi REINSTALL=ALL /qn /l*v "%work%\repair.log"
if not defined wine call :note %ERRORLEVEL% repair.log
call :title %1: the update has written the current version
reg query HKLM\Software\Halvorex\QVK /v CurrentVersion /reg:%2 >>"%output%" 2>&1
call :note %ERRORLEVEL%
call :title %1: describe.exe describes the updated machine
%1\describe.exe >>"%output%" 2>&1
call :note %ERRORLEVEL%
call :title %1: msiexec removes both
call :remove %1
call :note %ERRORLEVEL% remove.log
set left=0
if exist "%programs%\Norv\qvk-*" set left=1
if exist "%programs32%\Norv\qvk-*" set left=1
call :title %1: the removal deletes the example's directory
call :note %left%
for %%f in (%logs% "%work%\tolmark.log") do if exist %%f type %%f >>"%output%"
call :clean
call :title %1: the machine is as it was before
%1\describe.exe "%work%\after.json" >>"%output%" 2>&1
if defined wine call :skip Wine's fc compares nothing
if not defined wine fc /b "%work%\before.json" "%work%\after.json" >>"%output%" 2>&1
if not defined wine call :note %ERRORLEVEL%
goto :eof

:skip_architecture
call :title %1: all steps
call :skip %skip%
goto :eof

:remove
if exist %1\update.msi msiexec /x %1\update.msi /qn /l*v "%work%\remove-update.log"
if exist %1\example.msi msiexec /x %1\example.msi /qn /l*v "%work%\remove.log"
goto :eof

:clean
for %%k in (%keys%) do call :delete_key %%k
for %%f in (%folders%) do if not %%f=="%work%" rmdir /s /q %%f 2>nul
for %%f in (%logs% "%work%\tolmark.log") do del %%f 2>nul
goto :eof

:delete_work
rem Wine's rmdir stops at a read-only file.
del /f /s /q "%work%" >nul 2>&1
rmdir /s /q "%work%" 2>nul
goto :eof

:delete_key
reg delete %1 /f /reg:64 >nul 2>&1
reg delete %1 /f /reg:32 >nul 2>&1
goto :eof

:refuse_key
reg query %1 /reg:64 >nul 2>&1
if not errorlevel 1 set found=%~1
reg query %1 /reg:32 >nul 2>&1
if not errorlevel 1 set found=%~1
goto :eof

:title
set step=%*
>>"%output%" echo.
>>"%output%" echo ==== %step%
goto :eof

rem Notes the exit code %1 of the step; the log %2 is shown if it failed.
:note
set result=passed
if not "%1"=="0" set result=failed
if not "%1"=="0" set failed=yes
echo %result%: %step% (exit code %1)
>>"%work%\steps.txt" echo %result%: %step% (exit code %1)
if not "%2"=="" if not "%1"=="0" type "%work%\%2" >>"%output%"
goto :eof

:skip
echo skipped: %step% (%*)
>>"%work%\steps.txt" echo skipped: %step% (%*)
goto :eof

rem Notes whether the file %1 has the text %2.
:expect
set step=%step:, prints=,%
"%SystemRoot%\System32\find.exe" %2 "%work%\%1" >nul
set code=%ERRORLEVEL%
set before=%step%
set step=%step%, prints %2
call :note %code%
set step=%before%
goto :eof
