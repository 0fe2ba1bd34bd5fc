#pragma once

#include "platform/agent/NetSnmp.h"

// What the MIB modules define for the agent. Each module announces its init_ function with a Snmp::AutoRegistree;
// nobody else calls it.

void init_EntityAlias();
void init_EntityMib();
void init_entitySensorMIB();
void init_entityStateMIB();
void init_kelvraEntSensorMIB();

void initialize_table_entAliasMappingTable();
void initialize_table_entPhysicalTable();
void initialize_table_entPhysicalContainsTable();
void initialize_table_entPhySensorTable();
void initialize_table_entStateTable();
void initialize_table_kelvraEntSensorThresholdTable();

Netsnmp_Node_Handler handle_entLastChangeTime;
Netsnmp_Node_Handler entAliasMappingTable_handler;
Netsnmp_Node_Handler entPhysicalTable_handler;
Netsnmp_Node_Handler entPhysicalContainsTable_handler;
Netsnmp_Node_Handler entPhySensorTable_handler;
Netsnmp_Node_Handler entStateTable_handler;
Netsnmp_Node_Handler kelvraEntSensorThresholdTable_handler;
