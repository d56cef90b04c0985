package com.brel.sorn.velk;

import com.brel.sorn.velk.internal.ServiceDefinition;

/** The calls of a masking provider: start it for a service, mask row sets with it, end it. */
public final class NativeProvider {
  /** Makes an object to call the natives on; it holds nothing native. */
  public NativeProvider() {}

  /**
   * Starts a provider.
   *
   * @param serviceId the service's name
   * @param definition a definition with its native record
   * @param option handed to the engine as it is
   * @return the provider's handle, 0 when nothing was started, or the status of the trace facility
   *     (nothing was started then), which cannot be told from a handle
   */
  public native int initializeProvider0(
      String serviceId, ServiceDefinition definition, boolean option);

  /**
   * Masks a row set in its native records.
   *
   * @param handle the provider
   * @param definition the definition that the provider was started with
   * @param rowSet rows with their native records
   * @return 0, or the status of the trace facility (nothing was masked then)
   */
  public native int serviceProvider0(int handle, ServiceDefinition definition, RowSet rowSet);

  /**
   * Ends a provider.
   *
   * @param handle the provider
   * @return 0, or the status of the trace facility (the provider then still runs)
   */
  public native int terminateProvider0(int handle);
}
