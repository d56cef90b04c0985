package com.brel.sorn.velk.masking;

import com.brel.sorn.velk.VELKException;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.net.URISyntaxException;
import java.util.concurrent.Callable;
import javax.management.JMException;
import javax.management.MBeanServer;
import javax.management.ObjectName;
import javax.management.StandardMBean;

/**
 * The end of an engine whose application has ended without closing it. While the engine is open,
 * the virtual machine's management server has an offer to close it, for another class loader to
 * take up. It is closed by the classes that opened it and by no others: whoever uses it all the
 * same is then told that it is closed, and reaches no service of the next one. Guarded by {@link
 * Bridge#LOCK}.
 */
final class Abandoned {
  private static final String NAME = "com.brel.sorn.velk:type=Engine";

  private static boolean offered;

  private Abandoned() {}

  /** Takes up another class loader's offer; whether the engine was closed. */
  static boolean close() {
    try {
      return (Boolean) server().invoke(name(), "call", new Object[0], new String[0]);
    } catch (JMException | RuntimeException e) {
      return false; // There is no offer, or it could not be kept.
    }
  }

  /** Offers to close the engine, where our application can end before the virtual machine does. */
  static void offer() {
    if (!OwnClassLoader.canBeClosed()) {
      return;
    }
    try {
      OwnClassLoader.loadAll();
      Callable<Boolean> closing = Abandoned::closeOurs;
      server().registerMBean(new StandardMBean(closing, Callable.class), name());
      offered = true;
    } catch (JMException | IOException | URISyntaxException e) {
      // Then nobody else can close it.
    }
  }

  static void withdraw() {
    if (!offered) {
      return;
    }
    offered = false;
    try {
      server().unregisterMBean(name());
    } catch (JMException e) {
      // Somebody else has withdrawn it.
    }
  }

  /** Called by another class loader. An engine that is masking is in use, whatever else holds. */
  private static boolean closeOurs() {
    if (!OwnClassLoader.isClosed() || !Bridge.LOCK.tryLock()) {
      return false;
    }
    try {
      if (Bridge.running != null) {
        Bridge.running.close();
      }
    } catch (VELKException | LinkageError e) {
      // The mark tells whether it is closed all the same.
    } finally {
      Bridge.LOCK.unlock();
    }
    return !OpenMark.isOurs();
  }

  private static MBeanServer server() {
    return ManagementFactory.getPlatformMBeanServer();
  }

  private static ObjectName name() throws JMException {
    return new ObjectName(NAME);
  }
}
