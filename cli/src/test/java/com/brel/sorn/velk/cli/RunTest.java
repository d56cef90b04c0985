package com.brel.sorn.velk.cli;

import static org.junit.jupiter.api.Assertions.assertThrows;

import java.util.List;
import org.junit.jupiter.api.Test;

/** What a virtual machine has to say is noticed when it is not the one that runs the tests. */
class RunTest {
  @Test
  void aLineOfItsLogIsNoticed() {
    List<String> talkative = List.of("-Xlog:os=info:stdout");
    assertThrows(AssertionError.class, () -> Run.ofItsOwn(talkative, "--version"));
  }

  @Test
  void aReportOfABadCallIsNoticed() {
    String warning = "velk\nWARNING in native method: JNI call made with exception pending\n";
    assertThrows(AssertionError.class, () -> Run.expectNoWarning("", warning));
  }
}
