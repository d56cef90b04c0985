package com.brel.sorn.velk.masking;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brel.sorn.velk.masking.EngineLibrary.Source;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;

class RemedyTest {
  private static final List<String> MOUNTS =
      List.of(
          "/dev/sda / ext4 rw,relatime 0 0",
          "tmpfs /tmp tmpfs rw,nosuid,noexec 0 0",
          "tmpfs /tmp/open tmpfs rw 0 0",
          "tmpfs /my\\040files tmpfs rw,noexec,relatime 0 0",
          "tmpfs /hidden/below tmpfs rw 0 0",
          "tmpfs /hidden tmpfs noexec 0 0",
          "tmpfs /twice tmpfs noexec 0 0",
          "tmpfs /twice tmpfs rw,mode=noexecutive 0 0");

  @Test
  @DisabledOnOs(OS.WINDOWS)
  void theLatestMountDecidesWhetherAFolderForbidsExecuting() {
    assertFalse(forbidsExecuting("/home"));
    assertTrue(forbidsExecuting("/tmp"));
    assertTrue(forbidsExecuting("/tmp/velk-1-1"));
    assertFalse(forbidsExecuting("/tmpfiles"));
    assertFalse(forbidsExecuting("/tmp/open/velk-1-1"));
    assertTrue(forbidsExecuting("/my files/lib"));
    assertTrue(forbidsExecuting("/hidden/below"));
    assertFalse(forbidsExecuting("/twice"));
  }

  private static boolean forbidsExecuting(String directory) {
    return Remedy.forbidsExecuting(MOUNTS, Path.of(directory));
  }

  @Test
  void whereNothingIsKnownToHelpNothingIsSaid() {
    Path lib = Path.of(System.getProperty("velk.library.dir"));
    assertEquals("", Remedy.of(new UnsatisfiedLinkError("bad"), lib, Source.PROPERTY));
  }

  @Test
  void aVirtualMachineThatForbidsNativeCodeIsToldToAllowIt() {
    assertEquals(
        "; allow it by starting Java with --enable-native-access=ALL-UNNAMED",
        Remedy.of(new IllegalCallerException("denied"), Path.of("/"), Source.JAR));
  }
}
