package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import org.junit.jupiter.api.extension.AfterEachCallback;
import org.junit.jupiter.api.extension.ExtensionContext;

/**
 * Closes an engine that a test left open, so that one failure does not become one of every test
 * behind it. A test that leaves one open and did not fail fails for that.
 */
public final class OpenEngineGuard implements AfterEachCallback {
  @Override
  public void afterEach(ExtensionContext context) {
    Engine open = Bridge.running;
    if (open == null) {
      return;
    }
    try {
      open.close();
    } catch (VELKException e) {
      context.publishReportEntry("the engine that was left open", e.toString());
    }
    if (context.getExecutionException().isEmpty()) {
      throw new AssertionError("the test left the engine open");
    }
  }
}
