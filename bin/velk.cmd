@echo off
rem Starts the velk command on Windows, as a package holds it in command\ or the build left it in cli\target.
rem VELK_JAVA_HOME names the Java to be used, VELK_JAVA_OPTIONS holds more options for it; one with a blank
rem stands in quotes.
setlocal DisableDelayedExpansion
set "root=%~dp0.."
set "folder=%root%\command"
if not exist "%folder%\" set "folder=%root%\cli\target"
set "jar="
pushd "%folder%" 2>nul && (
    for %%f in (velk-cli-*.jar) do set "jar=%%f"
    popd
)
if not exist "%folder%\lib\" set "jar="
if not defined jar (
    if exist "%root%\command\" (
        echo velk: files are missing in "%folder%"; unpack the package again>&2
    ) else (
        echo velk: the command is not built yet; the README says how to build it>&2
    )
    exit /b 5
)
for %%f in (java.exe) do set "java=%%~$PATH:f"
set "name="
if defined JAVA_HOME set "name=JAVA_HOME"
if defined JAVA_HOME set "home=%JAVA_HOME%"
if defined VELK_JAVA_HOME set "name=VELK_JAVA_HOME"
if defined VELK_JAVA_HOME set "home=%VELK_JAVA_HOME%"
if defined name set "java=%home%\bin\java.exe"
rem Checked first: the exit codes of a missing program would be taken for those of the command.
if not exist "%java%" if defined name (
    echo velk: %name% names "%home%", and there is no bin\java.exe in it; name a Java of version 17 or later>&2
    exit /b 5
)
if not exist "%java%" (
    echo velk: there is no Java; install one of version 17 or later, or name it with VELK_JAVA_HOME>&2
    exit /b 5
)
rem A package has the libraries beside the command, where nothing need be unpacked.
set "packaged="
if exist "%root%\command\" set packaged="-Dvelk.library.packaged=%root%\lib"
rem What Java says of itself would else stand among the rows, and what it leaves of a crash would hold values.
rem The second compiler of Java takes longer than it saves: values are masked by native code.
set "told=-XX:+DisplayVMOutputToStderr -Xlog:disable -Xlog:all=warning:stderr -XX:-CreateCoredumpOnCrash"
rem The rows of a copy of a database are garbage once they are masked: few pages for them cost less than many.
set "copying="
if "%~1"=="copy" set "copying=-Xmx144m -Xms32m -Xmn24m -XX:CompileThresholdScaling=4"
rem Java takes one collector: who names one gets that.
if "%~1"=="copy" if not defined VELK_JAVA_OPTIONS set "copying=%copying% -XX:+UseSerialGC"
"%java%" -Xmx192m --enable-native-access=ALL-UNNAMED -XX:TieredStopAtLevel=1 %told% %copying% %packaged% %VELK_JAVA_OPTIONS% -jar "%folder%\%jar%" %*
exit /b %errorlevel%
